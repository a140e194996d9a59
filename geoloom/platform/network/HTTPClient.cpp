#include "geoloom/platform/network/HTTPClient.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <unordered_map>

#include <curl/curl.h>
#include <sys/socket.h>

#include "geoloom/base/Mutex.h"
#include "geoloom/base/ProcessExit.h"
#include "geoloom/base/Thread.h"
#include "geoloom/base/ThreadPool.h"
#include "geoloom/platform/network/HTTPAddress.h"
#include "geoloom/platform/network/TransferEvents.h"

namespace geoloom::platform {

namespace {

using Deadline = std::chrono::steady_clock::time_point;
using Completion = std::function<void(HTTPResponse)>;

struct EasyDeleter {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using Easy = std::unique_ptr<CURL, EasyDeleter>;

bool hasControlCharacters(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) { return (c >= 0 && c < ' ') || c == '\x7f'; });
}

std::string headerRefusal(const HTTPRequest& request) {
  if (hasControlCharacters(request.contentType)) return "The content type holds a control character";
  for (const auto& [name, value] : request.headers)
    if (hasControlCharacters(name) || hasControlCharacters(value))
      return "The header " + name.substr(0, name.find_first_of("\r\n")) + " holds a control character";
  return {};
}

/// Lines of a request's head in the form the library reads them, which it never changes.
class HeaderLines {
 public:
  explicit HeaderLines(const HTTPRequest& request) {
    // Waiting for a "100 Continue" costs a second where services do not know it.
    text_.append("Expect:").push_back('\0');
    add("Content-Type", request.contentType);
    for (const auto& [name, value] : request.headers) add(name, value);
    list_.resize(request.headers.size() + 2);
    char* line = text_.data();
    for (std::size_t i = 0; i < list_.size(); line += std::strlen(line) + 1, ++i)
      list_[i] = {line, i + 1 < list_.size() ? &list_[i + 1] : nullptr};
  }
  HeaderLines(const HeaderLines&) = delete;
  HeaderLines& operator=(const HeaderLines&) = delete;

  [[nodiscard]] curl_slist* list() { return list_.data(); }

 private:
  void add(std::string_view name, std::string_view value) {
    text_.append(name).append(": ").append(value).push_back('\0');
  }

  std::string text_;
  std::vector<curl_slist> list_;
};

/// One request on its way. Lives on the client's thread from the moment it is taken over.
struct Transfer {
  HTTPRequest request;
  std::shared_ptr<DispatchQueue> queue;
  Completion completion;
  Deadline deadline;
  std::string certificateAuthorities;

  HTTPResponse response;
  Easy easy;
  std::optional<HeaderLines> headers;
  std::array<char, CURL_ERROR_SIZE> detail{};
  bool isPlain = false;
  bool sent = false;
  /// Set where we end the transfer ourselves and know better than the library why.
  std::string reason;
};

/// The request goes back to the queues' threads with the answer: were it freed here, where it was not
/// allocated, this thread and those would wait for each other.
void finish(std::unique_ptr<Transfer> transfer) {
  const std::shared_ptr<Transfer> ended = std::move(transfer);
  ended->queue->async([ended] { ended->completion(std::move(ended->response)); });
}

void fail(std::unique_ptr<Transfer> transfer, std::string why, bool refused = false) {
  transfer->response = HTTPResponse{.status = 0, .body = {}, .error = std::move(why), .refused = refused};
  finish(std::move(transfer));
}

std::size_t receiveBody(char* data, std::size_t size, std::size_t count, void* context) {
  auto& transfer = *static_cast<Transfer*>(context);
  const std::size_t bytes = size * count;
  if (bytes > HTTPClient::maximumAnswerBytes - transfer.response.body.size()) {
    transfer.reason = "The answer is longer than 64 MiB";
    return 0;
  }
  transfer.response.body.append(data, bytes);
  return bytes;
}

/// The last word on where plain HTTP goes: whatever a name resolved to, the address itself must be loopback.
curl_socket_t openSocket(void* context, curlsocktype, curl_sockaddr* address) {
  auto& transfer = *static_cast<Transfer*>(context);
  if (transfer.isPlain && !isLoopback(address->addr)) {
    transfer.reason = "Plain HTTP is for loopback addresses only";
    return CURL_SOCKET_BAD;
  }
  return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

/// The library would send a request again when a kept connection closes before an answer. The service may
/// have acted on the first one, so this is only for what may be sent twice.
int beforeRequest(void* context, char*, char*, int, int) {
  auto& transfer = *static_cast<Transfer*>(context);
  if (std::exchange(transfer.sent, true) && !transfer.request.mayBeSentTwice) {
    transfer.reason = "The service closed the connection without an answer";
    return CURL_PREREQFUNC_ABORT;
  }
  return CURL_PREREQFUNC_OK;
}

/// What all transfers have in common, once for a handle.
Easy makeHandle(const std::string& certificateAuthorities) {
  Easy handle(curl_easy_init());
  CURL* easy = handle.get();
  if (!easy) return handle;
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(easy, CURLOPT_PROXY, "");
  curl_easy_setopt(easy, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  // A transfer that ends while its name is looked up would wait for that, and all others with it.
  curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
  curl_easy_setopt(easy, CURLOPT_TCP_KEEPALIVE, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  if (!certificateAuthorities.empty()) curl_easy_setopt(easy, CURLOPT_CAINFO, certificateAuthorities.c_str());
  curl_easy_setopt(easy, CURLOPT_POST, 1L);
  curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(HTTPClient::maximumAnswerBytes));
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, receiveBody);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, openSocket);
  curl_easy_setopt(easy, CURLOPT_PREREQFUNCTION, beforeRequest);
  return handle;
}

/// All that differs from one transfer of a handle to the next.
void configure(Transfer& transfer, std::chrono::milliseconds left) {
  CURL* easy = transfer.easy.get();
  const HTTPRequest& request = transfer.request;
  curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(left.count()));
  curl_easy_setopt(easy, CURLOPT_FRESH_CONNECT, request.ownConnection ? 1L : 0L);
  curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, request.ownConnection ? 1L : 0L);
  curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
  curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.data());
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer.headers->list());
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_PREREQDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, transfer.detail.data());
  curl_easy_setopt(easy, CURLOPT_PRIVATE, &transfer);
}

/// Beyond it the sum with the present time could overflow.
constexpr std::chrono::milliseconds longestDeadline = std::chrono::hours(24 * 365);

/// Idle connections that are kept for the requests to come.
constexpr long keptConnections = 64;

}  // namespace

struct HTTPClient::State {
  base::Mutex mutex;
  CURLM* multi GEOLOOM_GUARDED_BY(mutex) = nullptr;
  std::vector<std::unique_ptr<Transfer>> handedOver GEOLOOM_GUARDED_BY(mutex);
  /// The client's thread waits, or is about to, and nobody has woken it up yet.
  bool isWaiting GEOLOOM_GUARDED_BY(mutex) = false;
  std::string certificateAuthorities GEOLOOM_GUARDED_BY(mutex);

  // The rest belongs to the client's thread once that has begun; all but `wakeUp` of the events.
  std::optional<TransferEvents> events;
  std::unordered_map<CURL*, std::unique_ptr<Transfer>> running;
  /// Connections belong to the multi handle; these are worth keeping for what they allocated.
  std::vector<Easy> idle;
  std::string idleAuthorities;

  bool handOver(std::unique_ptr<Transfer>& transfer);
  bool start() GEOLOOM_REQUIRES(mutex);
  [[noreturn]] void run(CURLM* handles);
  bool mayWait();
  void work(CURLM* handles);
  Easy takeHandle(const std::string& authorities);
  void begin(CURLM* handles, std::unique_ptr<Transfer> transfer);
  void finishOne(CURLM* handles, CURL* easy, CURLcode code);
};

bool HTTPClient::State::start() {
  if (multi) return true;
  if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return false;
  // Opened again where the system had no files left the time before.
  if (!events || !events->isOpen()) events.emplace();
  CURLM* handles = events->isOpen() ? curl_multi_init() : nullptr;
  if (!handles) return false;
  events->attach(handles);
  // By itself the library keeps four connections for each transfer under way: none after a burst of them.
  curl_multi_setopt(handles, CURLMOPT_MAXCONNECTS, keptConnections);
  // With all signals blocked, a closed connection cannot end the process either.
  if (!base::startThread("geoloom-http", [this, handles] { run(handles); })) {
    curl_multi_cleanup(handles);
    return false;
  }
  multi = handles;
  // Transfers and reading answers must be over before what they use is taken down: the TLS library, which is
  // set up by now, and the parser, which is by its first use.
  static_cast<void>(JSON::emptyArray());
  base::restAtExit();
  return true;
}

bool HTTPClient::State::handOver(std::unique_ptr<Transfer>& transfer) {
  const base::MutexLock lock(mutex);
  if (!start()) return false;
  transfer->certificateAuthorities = certificateAuthorities;
  handedOver.push_back(std::move(transfer));
  if (std::exchange(isWaiting, false)) events->wakeUp();
  return true;
}

void HTTPClient::State::run(CURLM* handles) {
  while (true) {
    if (const base::Work permitted; permitted)
      work(handles);
    else
      base::parkThread();
    if (mayWait()) events->wait();
  }
}

bool HTTPClient::State::mayWait() {
  const base::MutexLock lock(mutex);
  isWaiting = handedOver.empty();
  return isWaiting;
}

void HTTPClient::State::work(CURLM* handles) {
  std::vector<std::unique_ptr<Transfer>> arrived;
  {
    const base::MutexLock lock(mutex);
    isWaiting = false;
    arrived.swap(handedOver);
  }
  const base::ThreadPool::Batch answers;
  for (auto& transfer : arrived) begin(handles, std::move(transfer));
  events->act();
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(handles, &left))
    if (message->msg == CURLMSG_DONE) finishOne(handles, message->easy_handle, message->data.result);
}

Easy HTTPClient::State::takeHandle(const std::string& authorities) {
  if (authorities != idleAuthorities) {
    idle.clear();
    idleAuthorities = authorities;
  }
  if (idle.empty()) return makeHandle(authorities);
  Easy handle = std::move(idle.back());
  idle.pop_back();
  return handle;
}

void HTTPClient::State::begin(CURLM* handles, std::unique_ptr<Transfer> transfer) {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(transfer->deadline - std::chrono::steady_clock::now());
  if (left.count() <= 0) {
    fail(std::move(transfer), "The deadline has passed");
    return;
  }
  transfer->easy = takeHandle(transfer->certificateAuthorities);
  if (!transfer->easy) {
    fail(std::move(transfer), "Out of memory");
    return;
  }
  configure(*transfer, left);
  CURL* easy = transfer->easy.get();
  if (const CURLMcode code = curl_multi_add_handle(handles, easy); code != CURLM_OK) {
    fail(std::move(transfer), curl_multi_strerror(code));
    return;
  }
  running.emplace(easy, std::move(transfer));
}

void HTTPClient::State::finishOne(CURLM* handles, CURL* easy, CURLcode code) {
  curl_multi_remove_handle(handles, easy);
  const auto found = running.find(easy);
  std::unique_ptr<Transfer> transfer = std::move(found->second);
  running.erase(found);
  long status = 0;
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  std::string why;
  if (code != CURLE_OK) {
    const std::string detail(transfer->detail.data());
    why = !transfer->reason.empty() ? transfer->reason : !detail.empty() ? detail : curl_easy_strerror(code);
  }
  if (Easy handle = std::move(transfer->easy); transfer->certificateAuthorities == idleAuthorities)
    idle.push_back(std::move(handle));
  if (code != CURLE_OK) {
    fail(std::move(transfer), std::move(why));
    return;
  }
  transfer->response.status = static_cast<int>(status);
  finish(std::move(transfer));
}

HTTPClient::HTTPClient() : state_(std::make_unique<State>()) {}

HTTPClient::~HTTPClient() = default;

HTTPClient& HTTPClient::shared() {
  // Never destroyed: its thread and the queues may still be at work while the process ends.
  static HTTPClient* const client = new HTTPClient;
  return *client;
}

void HTTPClient::setCertificateAuthorities(std::string pemFile) {
  const base::MutexLock lock(state_->mutex);
  state_->certificateAuthorities.swap(pemFile);
}

void HTTPClient::post(HTTPRequest request, std::shared_ptr<DispatchQueue> queue, Completion completion) {
  auto transfer = std::make_unique<Transfer>();
  transfer->deadline = std::chrono::steady_clock::now() + std::min(request.deadline, longestDeadline);
  transfer->request = std::move(request);
  transfer->queue = std::move(queue);
  transfer->completion = std::move(completion);
  HTTPAddress address = HTTPAddress::of(transfer->request.url);
  transfer->isPlain = address.isPlain;
  std::string refusal = std::move(address.refusal);
  if (refusal.empty()) refusal = headerRefusal(transfer->request);
  if (!refusal.empty()) {
    fail(std::move(transfer), std::move(refusal), true);
    return;
  }
  transfer->headers.emplace(transfer->request);
  if (!state_->handOver(transfer)) fail(std::move(transfer), "The HTTP client could not be started");
}

void HTTPClient::postJSON(HTTPRequest request, std::shared_ptr<DispatchQueue> queue,
                          std::function<void(std::optional<JSON>)> completion) {
  post(std::move(request), DispatchQueue::global(),
       [queue = std::move(queue), completion = std::move(completion)](const HTTPResponse& response) mutable {
         std::optional<JSON> value;
         if (response.error.empty()) value = JSON::parse(response.body);
         queue->async([completion = std::move(completion), value = std::move(value)] { completion(value); });
       });
}

}  // namespace geoloom::platform
