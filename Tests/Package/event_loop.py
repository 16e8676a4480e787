"""Lets things happen in Examples/event-loop-host, with a campaign server: event_loop.py HOST ZINSERVER EXAMPLES FOLDER"""
import pathlib
import signal
import subprocess
import sys

program, server_program, examples, folder = sys.argv[1:]
server = subprocess.Popen([server_program, "--folder", f"{examples}/campaigns", "--port", "0"],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
host = None


def wait_for(process, expected):
    for line in process.stdout:
        print(line, end="")
        if expected in line:
            return line
    sys.exit(f"it ended without: {expected}")



def give_up(*_):
    sys.exit("it waits in vain for the next line")


signal.signal(signal.SIGALRM, give_up)
signal.alarm(60)
try:
    address = wait_for(server, "listening on").split("listening on ")[1].split()[0].rstrip(".,")
    configuration = pathlib.Path(folder, "event-loop.json")
    text = pathlib.Path(examples, "configuration.json").read_text().replace("http://127.0.0.1:8088", address)
    configuration.write_text(text)
    host = subprocess.Popen([program, str(configuration)], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True, bufsize=1)
    wait_for(host, "Campaigns synced successfully")
    for happening, *effects in [
            ('event ADDED_TO_CART {"price": 65}', "notification: Still thinking about it?: Only three left"),
            ("click", 'received or clicked: "cart-reminder"', "open https://shop.example/cart?from=reminder"),
            ('push {"aps": {"alert": "Hi"}, "zintar": {"cid": "p1"}, "app_extra": {"screenName": "Parcels"}}',
             'received or clicked: "p1"'),
            ("click", 'received or clicked: "p1"', "open the screen Parcels"),
            ("push {", "line 1, column 2"), ("dance", "not understood: dance")]:
        host.stdin.write(happening + "\n")
        for effect in effects:
            wait_for(host, effect)
    host.stdin.close()
    sys.exit(host.wait())
finally:
    for process in filter(None, (host, server)):
        process.kill()
        process.wait()
