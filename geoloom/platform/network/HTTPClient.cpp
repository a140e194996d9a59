#include "geoloom/platform/network/HTTPClient.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <unordered_map>

#include <arpa/inet.h>
#include <curl/curl.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/socket.h>

#include "geoloom/platform/foundation/Mutex.h"
#include "geoloom/platform/foundation/ProcessExit.h"
#include "geoloom/platform/foundation/Thread.h"

namespace geoloom::platform {

namespace {

using Deadline = std::chrono::steady_clock::time_point;
using Completion = std::function<void(HTTPResponse)>;

struct EasyDeleter {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using Easy = std::unique_ptr<CURL, EasyDeleter>;

struct URLDeleter {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using URL = std::unique_ptr<CURLU, URLDeleter>;

struct ListDeleter {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using List = std::unique_ptr<curl_slist, ListDeleter>;

bool isLoopback(const in_addr& address) {
  return (ntohl(address.s_addr) >> 24) == 127;
}

bool isLoopback(const sockaddr& address) {
  if (address.sa_family == AF_INET) {
    sockaddr_in v4{};
    std::memcpy(&v4, &address, sizeof v4);
    return isLoopback(v4.sin_addr);
  }
  if (address.sa_family == AF_INET6) {
    sockaddr_in6 v6{};
    std::memcpy(&v6, &address, sizeof v6);
    return IN6_IS_ADDR_LOOPBACK(&v6.sin6_addr) != 0;
  }
  return false;
}

bool namesLoopback(std::string_view host) {
  if (host.size() == 9 && strncasecmp(host.data(), "localhost", 9) == 0) return true;
  in_addr v4{};
  if (inet_pton(AF_INET, std::string(host).c_str(), &v4) == 1) return isLoopback(v4);
  if (!host.starts_with('[') || !host.ends_with(']')) return false;
  in6_addr v6{};
  const std::string inner(host.substr(1, host.size() - 2));
  return inet_pton(AF_INET6, inner.c_str(), &v6) == 1 && IN6_IS_ADDR_LOOPBACK(&v6) != 0;
}

std::string part(CURLU* url, CURLUPart which) {
  char* text = nullptr;
  if (curl_url_get(url, which, &text, 0) != CURLUE_OK) return {};
  std::string result(text);
  curl_free(text);
  return result;
}

/// Why no packet may be sent to this address; empty when one may.
std::string addressRefusal(const std::string& address, bool& plain) {
  const URL url(curl_url());
  if (!url || curl_url_set(url.get(), CURLUPART_URL, address.c_str(), 0) != CURLUE_OK)
    return "The address of the service is not a URL";
  const std::string scheme = part(url.get(), CURLUPART_SCHEME);
  const std::string host = part(url.get(), CURLUPART_HOST);
  plain = scheme == "http";
  if (!plain && scheme != "https") return "The address of the service must begin with https://";
  if (!part(url.get(), CURLUPART_USER).empty() || !part(url.get(), CURLUPART_PASSWORD).empty())
    return "The address of the service must not hold credentials";
  if (plain && !namesLoopback(host))
    return "Plain HTTP is for loopback addresses only; use https:// for " + host;
  return {};
}

bool hasControlCharacters(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) { return (c >= 0 && c < ' ') || c == '\x7f'; });
}

std::string headerRefusal(const HTTPRequest& request) {
  if (hasControlCharacters(request.contentType)) return "The content type holds a control character";
  for (const auto& [name, value] : request.headers)
    if (hasControlCharacters(name) || hasControlCharacters(value))
      return "The header " + name.substr(0, name.find_first_of("\r\n")) + " holds a control character";
  const auto& signature = request.signature;
  if (signature && (hasControlCharacters(signature->accessKey) || hasControlCharacters(signature->region) ||
                    hasControlCharacters(signature->service)))
    return "The access key, region or service of the signature holds a control character";
  return {};
}

/// One request on its way. Lives on the client's thread from the moment it is taken over.
struct Transfer {
  HTTPRequest request;
  std::shared_ptr<DispatchQueue> queue;
  Completion completion;
  Deadline deadline;
  std::string certificateAuthorities;

  HTTPResponse response;
  Easy easy;
  List headers;
  std::array<char, CURL_ERROR_SIZE> detail{};
  bool plain = false;
  bool sent = false;
  /// Set where we end the transfer ourselves and know better than the library why.
  std::string reason;

  void finish() {
    auto answer = std::make_shared<HTTPResponse>(std::move(response));
    queue->async([run = std::move(completion), answer] { run(std::move(*answer)); });
  }

  void fail(std::string why, bool refused = false) {
    response = HTTPResponse{.status = 0, .body = {}, .error = std::move(why), .refused = refused};
    finish();
  }
};

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
  if (transfer.plain && !isLoopback(address->addr)) {
    transfer.reason = "Plain HTTP is for loopback addresses only";
    return CURL_SOCKET_BAD;
  }
  return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

/// The library would send a request again when a kept connection closes before an answer. The service may
/// have acted on the first one, so it is sent once.
int beforeRequest(void* context, char*, char*, int, int) {
  auto& transfer = *static_cast<Transfer*>(context);
  if (std::exchange(transfer.sent, true)) {
    transfer.reason = "The service closed the connection without an answer";
    return CURL_PREREQFUNC_ABORT;
  }
  return CURL_PREREQFUNC_OK;
}

bool append(List& list, const std::string& line) {
  curl_slist* longer = curl_slist_append(list.get(), line.c_str());
  if (!longer) return false;
  static_cast<void>(list.release());
  list.reset(longer);
  return true;
}

bool buildHeaders(Transfer& transfer) {
  bool ok = append(transfer.headers, "Content-Type: " + transfer.request.contentType);
  for (const auto& [name, value] : transfer.request.headers)
    ok = ok && append(transfer.headers, fmt::format("{}: {}", name, value));
  // Waiting for a "100 Continue" costs a second where services do not know it. The signer of the library
  // counts this line as a header of its own, and signed bodies are too short for the library to ask for one.
  if (!transfer.request.signature) ok = ok && append(transfer.headers, "Expect:");
  return ok;
}

void configureAnswer(CURL* easy, Transfer& transfer) {
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, receiveBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, openSocket);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_PREREQFUNCTION, beforeRequest);
  curl_easy_setopt(easy, CURLOPT_PREREQDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, transfer.detail.data());
  curl_easy_setopt(easy, CURLOPT_PRIVATE, &transfer);
}

void configureRequest(CURL* easy, const Transfer& transfer) {
  const HTTPRequest& request = transfer.request;
  curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(easy, CURLOPT_PROXY, "");
  curl_easy_setopt(easy, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_TCP_KEEPALIVE, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  if (!transfer.certificateAuthorities.empty())
    curl_easy_setopt(easy, CURLOPT_CAINFO, transfer.certificateAuthorities.c_str());
  curl_easy_setopt(easy, CURLOPT_FRESH_CONNECT, request.ownConnection ? 1L : 0L);
  curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, request.ownConnection ? 1L : 0L);
  curl_easy_setopt(easy, CURLOPT_POST, 1L);
  curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
  curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.data());
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer.headers.get());
  curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(HTTPClient::maximumAnswerBytes));
  if (const auto& signature = request.signature) {
    const std::string scope = "aws:amz:" + signature->region + ":" + signature->service;
    curl_easy_setopt(easy, CURLOPT_AWS_SIGV4, scope.c_str());
    curl_easy_setopt(easy, CURLOPT_USERNAME, signature->accessKey.c_str());
    curl_easy_setopt(easy, CURLOPT_PASSWORD, signature->secretKey.c_str());
  }
}

/// Idle connections that are kept for the requests to come.
constexpr long keptConnections = 64;

}  // namespace

struct HTTPClient::State {
  Mutex mutex;
  CURLM* multi GEOLOOM_GUARDED_BY(mutex) = nullptr;
  std::vector<std::unique_ptr<Transfer>> handedOver GEOLOOM_GUARDED_BY(mutex);
  std::string certificateAuthorities GEOLOOM_GUARDED_BY(mutex);

  // The rest belongs to the client's thread.
  std::unordered_map<CURL*, std::unique_ptr<Transfer>> running;
  std::vector<Easy> idle;

  bool handOver(std::unique_ptr<Transfer>& transfer);
  bool start() GEOLOOM_REQUIRES(mutex);
  [[noreturn]] void run(CURLM* handles);
  void work(CURLM* handles);
  void begin(CURLM* handles, std::unique_ptr<Transfer> transfer);
  void finishOne(CURLM* handles, CURL* easy, CURLcode code);
};

bool HTTPClient::State::start() {
  if (multi) return true;
  if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return false;
  CURLM* handles = curl_multi_init();
  if (!handles) return false;
  // By itself the library keeps four connections for each transfer under way: none after a burst of them.
  curl_multi_setopt(handles, CURLMOPT_MAXCONNECTS, keptConnections);
  // With all signals blocked, a closed connection cannot end the process either.
  if (!startThread("geoloom-http", [this, handles] { run(handles); })) {
    curl_multi_cleanup(handles);
    return false;
  }
  multi = handles;
  // Signing and reading answers must be over before what they use is taken down: the TLS library, which is
  // set up by now, and the parser, which is by its first use.
  static_cast<void>(JSON::emptyArray());
  restAtExit();
  return true;
}

bool HTTPClient::State::handOver(std::unique_ptr<Transfer>& transfer) {
  const MutexLock lock(mutex);
  if (!start()) return false;
  transfer->certificateAuthorities = certificateAuthorities;
  handedOver.push_back(std::move(transfer));
  // The one call that the library allows from another thread.
  curl_multi_wakeup(multi);
  return true;
}

void HTTPClient::State::run(CURLM* handles) {
  constexpr int idleMilliseconds = 60'000;
  while (true) {
    if (const Work permitted; permitted)
      work(handles);
    else
      parkThread();
    curl_multi_poll(handles, nullptr, 0, idleMilliseconds, nullptr);
  }
}

void HTTPClient::State::work(CURLM* handles) {
  std::vector<std::unique_ptr<Transfer>> arrived;
  {
    const MutexLock lock(mutex);
    arrived.swap(handedOver);
  }
  for (auto& transfer : arrived) begin(handles, std::move(transfer));
  int active = 0;
  curl_multi_perform(handles, &active);
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(handles, &left))
    if (message->msg == CURLMSG_DONE) finishOne(handles, message->easy_handle, message->data.result);
}

void HTTPClient::State::begin(CURLM* handles, std::unique_ptr<Transfer> transfer) {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(transfer->deadline - std::chrono::steady_clock::now());
  if (left.count() <= 0) {
    transfer->fail("The deadline has passed");
    return;
  }
  if (idle.empty()) {
    transfer->easy.reset(curl_easy_init());
  } else {
    transfer->easy = std::move(idle.back());
    idle.pop_back();
  }
  if (!transfer->easy || !buildHeaders(*transfer)) {
    transfer->fail("Out of memory");
    return;
  }
  CURL* easy = transfer->easy.get();
  configureRequest(easy, *transfer);
  configureAnswer(easy, *transfer);
  curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(left.count()));
  if (const CURLMcode code = curl_multi_add_handle(handles, easy); code != CURLM_OK) {
    transfer->fail(curl_multi_strerror(code));
    return;
  }
  running.emplace(easy, std::move(transfer));
}

void HTTPClient::State::finishOne(CURLM* handles, CURL* easy, CURLcode code) {
  curl_multi_remove_handle(handles, easy);
  const auto found = running.find(easy);
  const std::unique_ptr<Transfer> transfer = std::move(found->second);
  running.erase(found);
  long status = 0;
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  std::string why;
  if (code != CURLE_OK) {
    const std::string detail(transfer->detail.data());
    why = !transfer->reason.empty() ? transfer->reason : !detail.empty() ? detail : curl_easy_strerror(code);
  }
  // Connections belong to the multi handle; what is left here is worth keeping for its allocations.
  curl_easy_reset(easy);
  idle.push_back(std::move(transfer->easy));
  if (code != CURLE_OK) {
    transfer->fail(std::move(why));
    return;
  }
  transfer->response.status = static_cast<int>(status);
  transfer->finish();
}

HTTPClient::HTTPClient() : state_(std::make_unique<State>()) {}

HTTPClient::~HTTPClient() = default;

HTTPClient& HTTPClient::shared() {
  // Never destroyed: its thread and the queues may still be at work while the process ends.
  static HTTPClient* const client = new HTTPClient;
  return *client;
}

void HTTPClient::setCertificateAuthorities(std::string pemFile) {
  const MutexLock lock(state_->mutex);
  state_->certificateAuthorities.swap(pemFile);
}

void HTTPClient::post(HTTPRequest request, std::shared_ptr<DispatchQueue> queue, Completion completion) {
  auto transfer = std::make_unique<Transfer>();
  transfer->deadline = std::chrono::steady_clock::now() + request.deadline;
  transfer->request = std::move(request);
  transfer->queue = std::move(queue);
  transfer->completion = std::move(completion);
  std::string refusal = addressRefusal(transfer->request.url, transfer->plain);
  if (refusal.empty()) refusal = headerRefusal(transfer->request);
  if (!refusal.empty())
    transfer->fail(std::move(refusal), true);
  else if (!state_->handOver(transfer))
    transfer->fail("The HTTP client could not be started");
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
