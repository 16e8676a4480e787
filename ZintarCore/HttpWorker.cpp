#include "ZintarCore/HttpWorker_p.h"

#include <curl/curl.h>
#include <signal.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"

namespace zn {

namespace {

constexpr int kLongestWaitMilliseconds = 3600 * 1000;  // whatever comes up ends it sooner
constexpr long kIdleConnectionsKept = 8;

/// The worker that this thread is.
thread_local const void* thisThreadsWorker = nullptr;

/// Workers must have ended before the TLS library's own exit handler takes its tables away.
struct LiveWorkers {
  Mutex mutex;
  std::vector<std::weak_ptr<HttpWorker>> workers ZN_GUARDED_BY(mutex);
};

LiveWorkers& liveWorkers() {
  static NeverDestroyed<LiveWorkers> instance;
  return *instance;
}

void shutDownAll() {
  std::vector<std::weak_ptr<HttpWorker>> all;
  {
    Lock lock(liveWorkers().mutex);
    all.swap(liveWorkers().workers);
  }
  for (const auto& each : all) {
    if (const auto worker = each.lock()) worker->shutDown();
  }
}

void prepareLibcurl() {
  static std::once_flag once;
  std::call_once(once, [] {
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) throw Exception("libcurl cannot start");
    static const pid_t process = ::getpid();
    // Registered after libcurl's libraries registered theirs, so that it runs first. A forked child has no workers.
    std::atexit([] {
      if (::getpid() == process) shutDownAll();
    });
  });
}

/// Threads that begin in its lifetime get no signals: those are the host's, and a broken pipe is an error code here.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

long milliseconds(double seconds) {
  constexpr double kMost = 1e9;
  return static_cast<long>(std::clamp(std::ceil(seconds * 1000), 1.0, kMost));
}

template <class T>
void set(CURL* easy, CURLoption option, T value) {
  const CURLcode code = curl_easy_setopt(easy, option, value);
  if (code != CURLE_OK) throw Exception(std::string("libcurl refuses a setting: ") + curl_easy_strerror(code));
}

using Done = std::function<void(HttpAnswer)>;

void answer(const Done& done, HttpAnswer result) noexcept {
  try {
    done(std::move(result));
  } catch (...) {  // the worker serves the other jobs all the same
  }
}

}  // namespace

/// One job while libcurl works on it. Lives at one place: libcurl holds pointers into it.
struct HttpWorker::Transfer {
  struct EasyDeleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  };
  struct ListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };

  explicit Transfer(HttpJob wanted) : job(std::move(wanted)) {}
  void prepare();
  void limit();
  HttpAnswer result(CURLcode code);
  bool hasRoomFor(std::size_t bytes);

  static std::size_t sendBody(char* room, std::size_t size, std::size_t count, void* self) noexcept;
  static int rewindBody(void* self, curl_off_t offset, int origin) noexcept;
  static int isUnderWay(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t) noexcept;
  static int seeBytes(CURL*, curl_infotype type, char*, std::size_t size, void* self) noexcept;
  static std::size_t receiveBody(char* bytes, std::size_t size, std::size_t count, void* self) noexcept;
  static std::size_t receiveHeader(char* bytes, std::size_t size, std::size_t count, void* self) noexcept;

  HttpJob job;
  std::unique_ptr<curl_slist, ListDeleter> headers;
  std::unique_ptr<CURL, EasyDeleter> easy;
  std::string body;
  std::size_t sent = 0;  // of the job's body
  std::int64_t received = 0;
  std::int64_t arrived = 0;  // of the body, as it was sent
  bool wouldRepeat = false;
  bool isTooLong = false;
  char problem[CURL_ERROR_SIZE] = "";
};

void HttpWorker::Transfer::prepare() {
  for (const std::string& header : job.headers) {
    curl_slist* const longer = curl_slist_append(headers.get(), header.c_str());
    if (!longer) throw std::bad_alloc();
    headers.release();
    headers.reset(longer);
  }
  easy.reset(curl_easy_init());
  if (!easy) throw std::bad_alloc();
  CURL* const handle = easy.get();
  set(handle, CURLOPT_ERRORBUFFER, problem);
  set(handle, CURLOPT_NOSIGNAL, 1L);
  // A name service that does not answer holds up neither other jobs nor the end: its thread then ends by itself.
  set(handle, CURLOPT_QUICK_EXIT, 1L);
  set(handle, CURLOPT_URL, job.url.c_str());
  set(handle, CURLOPT_PATH_AS_IS, 1L);
  set(handle, CURLOPT_PROTOCOLS_STR, "http,https");
  set(handle, CURLOPT_FOLLOWLOCATION, 0L);
  set(handle, CURLOPT_POST, 1L);
  set(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(job.body.size()));
  set(handle, CURLOPT_READFUNCTION, &sendBody);
  set(handle, CURLOPT_READDATA, static_cast<void*>(this));
  set(handle, CURLOPT_SEEKFUNCTION, &rewindBody);
  set(handle, CURLOPT_SEEKDATA, static_cast<void*>(this));
  set(handle, CURLOPT_HTTPHEADER, headers.get());
  set(handle, CURLOPT_USERAGENT, "ZNMessaging/" ZN_VERSION);
  set(handle, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  set(handle, CURLOPT_SSL_VERIFYPEER, 1L);
  set(handle, CURLOPT_SSL_VERIFYHOST, 2L);
  // libcurl looks for proxies in the environment, which is not to be trusted where the process has rights of its own.
  if (::getauxval(AT_SECURE) != 0) set(handle, CURLOPT_PROXY, "");
  if (!job.limits.certificateAuthorities.empty()) {
    set(handle, CURLOPT_CAINFO, job.limits.certificateAuthorities.c_str());
    set(handle, CURLOPT_CAPATH, static_cast<const char*>(nullptr));
  }
  set(handle, CURLOPT_WRITEFUNCTION, &receiveBody);
  set(handle, CURLOPT_WRITEDATA, static_cast<void*>(this));
  set(handle, CURLOPT_HEADERFUNCTION, &receiveHeader);
  set(handle, CURLOPT_HEADERDATA, static_cast<void*>(this));
  limit();
}

void HttpWorker::Transfer::limit() {
  CURL* const handle = easy.get();
  set(handle, CURLOPT_CONNECTTIMEOUT_MS, milliseconds(job.limits.connectTimeout));
  set(handle, CURLOPT_TIMEOUT_MS, milliseconds(job.limits.timeout));
  // What is received counts unpacked. Bytes that come to nothing, packed ones or what stands between the chunks of a
  // body, are counted as they arrive, which is what libcurl shows to a debugger.
  set(handle, CURLOPT_DEBUGFUNCTION, &seeBytes);
  set(handle, CURLOPT_DEBUGDATA, static_cast<void*>(this));
  set(handle, CURLOPT_VERBOSE, 1L);
  set(handle, CURLOPT_NOPROGRESS, 0L);
  set(handle, CURLOPT_XFERINFOFUNCTION, &isUnderWay);
  set(handle, CURLOPT_XFERINFODATA, static_cast<void*>(this));
  // The usual two: a code with a window of its own choosing would take memory before anything is counted.
  set(handle, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
}

std::size_t HttpWorker::Transfer::sendBody(char* room, std::size_t size, std::size_t count, void* self) noexcept {
  auto& transfer = *static_cast<Transfer*>(self);
  const std::size_t bytes = std::min(size * count, transfer.job.body.size() - transfer.sent);
  std::memcpy(room, transfer.job.body.data() + transfer.sent, bytes);
  transfer.sent += bytes;
  return bytes;
}

/// libcurl wants to send the body once more, on another connection, because this one ended without an answer. The
/// server may have acted on the body all the same, so only one that never left begins anew.
int HttpWorker::Transfer::rewindBody(void* self, curl_off_t offset, int origin) noexcept {
  auto& transfer = *static_cast<Transfer*>(self);
  if (transfer.sent == 0 && offset == 0 && origin == SEEK_SET) return CURL_SEEKFUNC_OK;
  transfer.wouldRepeat = true;
  return CURL_SEEKFUNC_FAIL;
}

int HttpWorker::Transfer::seeBytes(CURL*, curl_infotype type, char*, std::size_t size, void* self) noexcept {
  if (type == CURLINFO_DATA_IN) static_cast<Transfer*>(self)->arrived += static_cast<std::int64_t>(size);
  return 0;
}

int HttpWorker::Transfer::isUnderWay(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t) noexcept {
  auto& transfer = *static_cast<Transfer*>(self);
  // A body in chunks is a little longer on its way than it is.
  const std::int64_t most = transfer.job.limits.maximumResponseBytes;
  const bool isTooMuch = received > most || transfer.arrived > most + most / 8 + 65536;
  transfer.isTooLong = transfer.isTooLong || isTooMuch;
  return transfer.isTooLong ? 1 : 0;
}

bool HttpWorker::Transfer::hasRoomFor(std::size_t bytes) {
  received += static_cast<std::int64_t>(bytes);
  isTooLong = received > job.limits.maximumResponseBytes;
  return !isTooLong;
}

// Returning another number than was given ends the transfer. No exception may pass through libcurl.
std::size_t HttpWorker::Transfer::receiveBody(char* bytes, std::size_t size, std::size_t count, void* self) noexcept {
  auto& transfer = *static_cast<Transfer*>(self);
  if (!transfer.hasRoomFor(size * count)) return 0;
  try {
    transfer.body.append(bytes, size * count);
  } catch (...) {
    return 0;
  }
  return size * count;
}

std::size_t HttpWorker::Transfer::receiveHeader(char*, std::size_t size, std::size_t count, void* self) noexcept {
  return static_cast<Transfer*>(self)->hasRoomFor(size * count) ? size * count : 0;
}

HttpAnswer HttpWorker::Transfer::result(CURLcode code) {
  HttpAnswer result;
  if (isTooLong) {
    result.failure = "the answer is longer than " + std::to_string(job.limits.maximumResponseBytes) + " bytes";
  } else if (wouldRepeat) {
    result.failure = "the server closed the connection without an answer";
  } else if (code != CURLE_OK) {
    result.failure = *problem ? problem : curl_easy_strerror(code);
  } else {
    curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &result.status);
    result.body = std::move(body);
    curl_off_t seconds = 0;
    curl_easy_getinfo(easy.get(), CURLINFO_RETRY_AFTER, &seconds);
    result.retryAfter = static_cast<double>(std::max<curl_off_t>(seconds, 0));
  }
  return result;
}

void HttpWorker::MultiDeleter::operator()(void* multi) const { curl_multi_cleanup(multi); }

HttpWorker::HttpWorker() : multi_(curl_multi_init()) {
  if (!multi_) throw Exception("libcurl has no memory");
  curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, kIdleConnectionsKept);
}

std::shared_ptr<HttpWorker> HttpWorker::start() {
  prepareLibcurl();
  const std::shared_ptr<HttpWorker> worker(new HttpWorker);
  {
    Lock lock(liveWorkers().mutex);
    auto& workers = liveWorkers().workers;
    std::erase_if(workers, [](const auto& each) { return each.expired(); });
    workers.push_back(worker);
  }
  const SignalsBlocked blocked;
  // The thread keeps the worker: its last user may leave on this very thread.
  worker->thread_ = std::thread([worker] { worker->run(); });
  return worker;
}

HttpWorker::~HttpWorker() {
  // Only where the thread itself drops the last reference is it still there. It cannot wait for itself; it ends now.
  if (thread_.joinable()) thread_.detach();
}

bool HttpWorker::add(HttpJob& job) {
  {
    Lock lock(mutex_);
    if (closing_) return false;
    queued_.push_back(std::move(job));
  }
  curl_multi_wakeup(multi_.get());
  return true;
}

void HttpWorker::shutDown() {
  {
    Lock lock(mutex_);
    closing_ = true;
  }
  curl_multi_wakeup(multi_.get());
  if (thisThreadsWorker == this) return;
  const std::lock_guard<std::mutex> turn(joining_);
  if (thread_.joinable()) thread_.join();
}

void HttpWorker::run() {
  thisThreadsWorker = this;
  while (takeJobs()) {
    int running = 0;
    curl_multi_perform(multi_.get(), &running);
    finishTransfers();
    curl_multi_poll(multi_.get(), nullptr, 0, kLongestWaitMilliseconds, nullptr);
  }
  abandonAll();
}

bool HttpWorker::takeJobs() {
  std::vector<HttpJob> jobs;
  {
    Lock lock(mutex_);
    if (closing_) return false;
    jobs.swap(queued_);
  }
  for (HttpJob& job : jobs) begin(std::move(job));
  return true;
}

void HttpWorker::begin(HttpJob job) {
  const Done done = job.done;
  std::string failure;
  try {
    auto transfer = std::make_unique<Transfer>(std::move(job));
    transfer->prepare();
    CURL* const easy = transfer->easy.get();
    transfers_.emplace(easy, std::move(transfer));
    const CURLMcode code = curl_multi_add_handle(multi_.get(), easy);
    if (code == CURLM_OK) return;
    transfers_.erase(easy);
    failure = curl_multi_strerror(code);
  } catch (...) {
    failure = currentExceptionText();
  }
  answer(done, {.failure = std::move(failure)});
}

void HttpWorker::finishTransfers() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    CURL* const easy = message->easy_handle;
    const CURLcode code = message->data.result;  // the message goes with the handle
    curl_multi_remove_handle(multi_.get(), easy);
    const auto node = transfers_.extract(easy);
    Transfer& transfer = *node.mapped();
    answer(transfer.job.done, transfer.result(code));
  }
}

void HttpWorker::abandonAll() {
  constexpr const char* kWhy = "the transport was shut down";
  for (const auto& [easy, transfer] : transfers_) {
    curl_multi_remove_handle(multi_.get(), easy);
    answer(transfer->job.done, {.failure = kWhy});
  }
  transfers_.clear();
  std::vector<HttpJob> jobs;
  {
    Lock lock(mutex_);
    jobs.swap(queued_);
  }
  for (const HttpJob& job : jobs) answer(job.done, {.failure = kWhy});
}

}  // namespace zn
