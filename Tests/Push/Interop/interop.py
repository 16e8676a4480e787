#!/usr/bin/env python3
"""Whether what we encrypt and sign is what others read, and the other way round.

usage: interop.py PUSH_INTEROP

The other implementation is this script, on the primitives of python3-cryptography (RFC 8188, 8291 and 8292).
"""

import base64
import json
import random
import struct
import subprocess
import sys

from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec, utils
from cryptography.hazmat.primitives.ciphers.aead import AESGCM
from cryptography.hazmat.primitives.kdf.hkdf import HKDF

COUNT = 10000
LONGEST = 3993
CURVE = ec.SECP256R1()


def b64(data):
    return base64.urlsafe_b64encode(data).rstrip(b"=").decode() or "-"


def unb64(text):
    return b"" if text == "-" else base64.urlsafe_b64decode(text + "=" * (-len(text) % 4))


def public_bytes(key):
    return key.public_key().public_bytes(
        serialization.Encoding.X962, serialization.PublicFormat.UncompressedPoint
    )


def public_key(data):
    return ec.EllipticCurvePublicKey.from_encoded_point(CURVE, data)


def derive(size, salt, secret, info):
    return HKDF(hashes.SHA256(), size, salt, info).derive(secret)


def record_key(secret, device, sender, auth, salt):
    key = derive(32, auth, secret, b"WebPush: info\0" + device + sender)
    return AESGCM(derive(16, salt, key, b"Content-Encoding: aes128gcm\0")), derive(
        12, salt, key, b"Content-Encoding: nonce\0"
    )


def decrypt(device, auth, body):
    salt, size, length = struct.unpack("!16sIB", body[:21])
    sender = body[21 : 21 + length]
    assert length == 65 and size >= 18 and len(body) - 86 <= size, "a header of another form"
    secret = device.exchange(ec.ECDH(), public_key(sender))
    cipher, nonce = record_key(secret, public_bytes(device), sender, auth, salt)
    text, end, padding = cipher.decrypt(nonce, body[86:], None).rpartition(b"\2")
    assert end and not padding.strip(b"\0"), "another end"
    return text


def encrypt(chance, device, auth, text, sender):
    salt = chance.randbytes(16)
    own = public_bytes(sender)
    secret = sender.exchange(ec.ECDH(), public_key(device))
    cipher, nonce = record_key(secret, device, own, auth, salt)
    padding = chance.randrange(LONGEST - len(text) + 1) if chance.random() < 0.3 else 0
    record = cipher.encrypt(nonce, text + b"\2" + bytes(padding), None)
    return struct.pack("!16sIB", salt, chance.choice([max(18, len(record)), 4096]), 65) + own + record


def run(program, what, lines):
    done = subprocess.run([program, what], input="\n".join(lines) + "\n", capture_output=True, text=True, check=True)
    answers = done.stdout.splitlines()
    assert len(answers) == len(lines), f"{len(lines)} lines, {len(answers)} answers"
    return answers


def some_text(chance):
    size = chance.choice([0, 1, LONGEST]) if chance.random() < 0.05 else chance.randrange(LONGEST + 1)
    # Some end as padding does.
    return chance.randbytes(size)[: max(0, size - 3)] + chance.choice([b"\0\0\0", b"\2\0\0", b"abc"])[: min(3, size)]


def check_sealed(program, chance, devices):
    cases = [(*chance.choice(devices), chance.randbytes(16), some_text(chance)) for _ in range(COUNT)]
    lines = [f"{b64(public)} {b64(auth)} {b64(text)}" for _, public, auth, text in cases]
    seen = set()
    for (device, _, auth, text), answer in zip(cases, run(program, "seal", lines)):
        body = unb64(answer)
        assert decrypt(device, auth, body) == text, "another text"
        seen.add(body[:16])
        seen.add(body[21:86])
    assert len(seen) == 2 * COUNT, "a salt or a key was used twice"


def check_opened(program, chance, devices):
    senders = [ec.generate_private_key(CURVE) for _ in range(COUNT // 10)]
    lines, texts = [], []
    for _ in range(COUNT):
        device, public = chance.choice(devices)
        auth, text = chance.randbytes(16), some_text(chance)
        body = encrypt(chance, public, auth, text, chance.choice(senders))
        private = device.private_numbers().private_value.to_bytes(32, "big")
        lines.append(f"{b64(private)} {b64(public)} {b64(auth)} {b64(body)}")
        texts.append(b64(text))
    for answer, text in zip(run(program, "open", lines), texts):
        assert answer == text, f"another text: {answer[:80]}"


def check_signed(program, chance):
    cases = [(f"https://push{chance.randrange(1000)}.example.com", 1800000000 + n) for n in range(1000)]
    lines = [f"{origin} mailto:push@example.com {expires}" for origin, expires in cases]
    for (origin, expires), answer in zip(cases, run(program, "sign", lines)):
        key, scheme, token, named = answer.split(" ")
        assert (scheme, named) == ("vapid", f"k={key}") and token.startswith("t=") and token.endswith(",")
        head, claims, signature = token[2:-1].split(".")
        assert json.loads(unb64(head)) == {"typ": "JWT", "alg": "ES256"}
        assert json.loads(unb64(claims)) == {"aud": origin, "exp": expires, "sub": "mailto:push@example.com"}
        halves = unb64(signature)
        assert len(halves) == 64
        pair = utils.encode_dss_signature(*(int.from_bytes(half, "big") for half in (halves[:32], halves[32:])))
        public_key(unb64(key)).verify(pair, f"{head}.{claims}".encode(), ec.ECDSA(hashes.SHA256()))


def main(program):
    seed = random.SystemRandom().randrange(2**32)
    print(f"seed {seed}", flush=True)
    chance = random.Random(seed)
    devices = [(key, public_bytes(key)) for key in (ec.generate_private_key(CURVE) for _ in range(100))]
    check_sealed(program, chance, devices)
    check_opened(program, chance, devices)
    check_signed(program, chance)


main(*sys.argv[1:])
