#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ZNPlatform/Foundation/Mutex.h"
#include "ZintarCore/HttpTransport.h"

namespace zn {

struct HttpAnswer {
  long status = 0;           ///< 0: there is none
  std::string body = {};     ///< whole, or of no use
  std::string failure = {};  ///< why there is no answer; empty when there is one
  double retryAfter = 0;     ///< seconds; 0: the server does not say
};

struct HttpJob {
  std::string url;
  std::vector<std::string> headers;  ///< "Name: value"
  std::string body;
  HttpTransport::Options limits;
  /// Called exactly once, on the worker's thread: must be quick. What it throws is dropped.
  std::function<void(HttpAnswer answer)> done;
};

/// One thread that runs any number of POST requests at once. Thread: any.
class HttpWorker {
 public:
  /// Throws Exception when the thread or libcurl cannot start.
  static std::shared_ptr<HttpWorker> start();
  ~HttpWorker();

  /// Queues a job. False, with the job untouched, once the worker is shut down.
  bool add(HttpJob& job);

  /// Breaks all jobs off and waits for the thread. On that thread itself (an answer's callback dropped the last
  /// reference to a transport) it only asks for the end.
  void shutDown();

 private:
  struct Transfer;
  struct MultiDeleter {
    void operator()(void* multi) const;
  };

  HttpWorker();
  void run();
  bool takeJobs();
  void begin(HttpJob job);
  void finishTransfers();
  void abandonAll();

  const std::unique_ptr<void, MultiDeleter> multi_;
  std::map<void*, std::unique_ptr<Transfer>> transfers_;  // by their handles; the worker's thread only

  Mutex mutex_;
  std::vector<HttpJob> queued_ ZN_GUARDED_BY(mutex_);
  bool closing_ ZN_GUARDED_BY(mutex_) = false;

  std::mutex joining_;  // held while the thread ends
  std::thread thread_;
};

}  // namespace zn
