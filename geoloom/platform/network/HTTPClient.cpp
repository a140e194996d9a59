#include "geoloom/platform/network/HTTPClient.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <unordered_map>

#include <curl/curl.h>
#include <sys/socket.h>

#include "geoloom/base/Mutex.h"
#include "geoloom/base/ProcessExit.h"
#include "geoloom/base/Thread.h"
#include "geoloom/platform/network/HTTPAddress.h"

namespace geoloom::platform {

namespace {

using Completion = std::function<void(base::Result<HTTPResponse>)>;

struct EasyDeleter {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
struct ListDeleter {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using Easy = std::unique_ptr<CURL, EasyDeleter>;
using HeaderLines = std::unique_ptr<curl_slist, ListDeleter>;

bool hasControlCharacters(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) { return (c >= 0 && c < ' ') || c == '\x7f'; });
}

base::Result<void> checkHeaders(const HTTPRequest& request) {
  if (hasControlCharacters(request.contentType))
    return base::Failure{"The content type holds a control character"};
  for (const auto& [name, value] : request.headers)
    if (hasControlCharacters(name) || hasControlCharacters(value))
      return base::Failure{"The header " + name.substr(0, name.find_first_of("\r\n")) +
                           " holds a control character"};
  return {};
}

HeaderLines headerLines(const HTTPRequest& request) {
  // No "Expect: 100-continue": a service that ignores it would cost a second.
  HeaderLines lines(curl_slist_append(nullptr, "Expect:"));
  curl_slist_append(lines.get(), ("Content-Type: " + request.contentType).c_str());
  for (const auto& [name, value] : request.headers)
    curl_slist_append(lines.get(), (name + ": " + value).c_str());
  return lines;
}

/// One request in flight. Only the client's thread uses it after it is handed over.
struct Transfer {
  HTTPRequest request;
  std::shared_ptr<DispatchQueue> queue;
  Completion completion;
  std::chrono::steady_clock::time_point deadline;
  std::string certificateAuthorities;
  bool isPlain = false;

  HTTPResponse response;
  HeaderLines headers;
  Easy easy;
  bool sent = false;
  /// The reason for a failure, from libcurl or, if we end the transfer, from us.
  std::array<char, CURL_ERROR_SIZE> detail{};
  std::string reason;
};

void finish(const std::shared_ptr<Transfer>& transfer, base::Result<HTTPResponse> result) {
  transfer->queue->async(
      [transfer, result = std::move(result)]() mutable { transfer->completion(std::move(result)); });
}

std::size_t receiveBody(char* data, std::size_t size, std::size_t count, void* context) {
  auto& transfer = *static_cast<Transfer*>(context);
  const std::size_t bytes = size * count;
  if (bytes > HTTPClient::MAXIMUM_ANSWER_BYTES - transfer.response.body.size()) {
    transfer.reason = "The answer is longer than 64 MiB";
    return 0;
  }
  transfer.response.body.append(data, bytes);
  return bytes;
}

/// The last check that plain HTTP goes to loopback only: it checks the resolved address.
curl_socket_t openSocket(void* context, curlsocktype, curl_sockaddr* address) {
  auto& transfer = *static_cast<Transfer*>(context);
  if (transfer.isPlain && !isLoopback(address->addr)) {
    transfer.reason = "Plain HTTP is for loopback addresses only";
    return CURL_SOCKET_BAD;
  }
  return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

/// libcurl would send a request again if a reused connection closes before an answer. The service may already
/// have handled it, so only requests that permit it are sent twice.
int beforeRequest(void* context, char*, char*, int, int) {
  auto& transfer = *static_cast<Transfer*>(context);
  if (std::exchange(transfer.sent, true) && !transfer.request.mayBeSentTwice) {
    transfer.reason = "The service closed the connection without an answer";
    return CURL_PREREQFUNC_ABORT;
  }
  return CURL_PREREQFUNC_OK;
}

/// A handle for the transfer, whose address must not change. nullptr if memory is short.
Easy makeHandle(Transfer& transfer, std::chrono::milliseconds timeLeft) {
  Easy handle(curl_easy_init());
  CURL* easy = handle.get();
  if (!easy) return handle;
  const HTTPRequest& request = transfer.request;
  curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(easy, CURLOPT_PROXY, "");
  curl_easy_setopt(easy, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  // Without it, ending a transfer during its name lookup would block the thread until the lookup ends.
  curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
  curl_easy_setopt(easy, CURLOPT_TCP_KEEPALIVE, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  if (!transfer.certificateAuthorities.empty())
    curl_easy_setopt(easy, CURLOPT_CAINFO, transfer.certificateAuthorities.c_str());
  curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(timeLeft.count()));
  curl_easy_setopt(easy, CURLOPT_FRESH_CONNECT, request.ownConnection ? 1L : 0L);
  curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, request.ownConnection ? 1L : 0L);
  curl_easy_setopt(easy, CURLOPT_POST, 1L);
  curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
  curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.data());
  transfer.headers = headerLines(request);
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer.headers.get());
  curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE,
                   static_cast<curl_off_t>(HTTPClient::MAXIMUM_ANSWER_BYTES));
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, receiveBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, openSocket);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_PREREQFUNCTION, beforeRequest);
  curl_easy_setopt(easy, CURLOPT_PREREQDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, transfer.detail.data());
  return handle;
}

std::string reasonOf(const Transfer& transfer, CURLcode code) {
  if (!transfer.reason.empty()) return transfer.reason;
  // libcurl 7.88 reports a header line of more than 100 KiB as "Out of memory", and 300 KiB in all as an
  // error of receiving.
  long headers = 0;
  curl_easy_getinfo(transfer.easy.get(), CURLINFO_HEADER_SIZE, &headers);
  if ((code == CURLE_OUT_OF_MEMORY && transfer.sent) || headers > 100 * 1024)
    return "The headers of the answer are too long";
  return transfer.detail[0] != '\0' ? transfer.detail.data() : curl_easy_strerror(code);
}

std::optional<Date> dateOf(CURL* easy) {
  curl_header* date = nullptr;
  if (curl_easy_header(easy, "Date", 0, CURLH_HEADER, -1, &date) != CURLHE_OK) return std::nullopt;
  const time_t seconds = curl_getdate(date->value, nullptr);
  return seconds < 0 ? std::nullopt : std::optional(std::chrono::system_clock::from_time_t(seconds));
}

/// Longer ones could overflow when added to the current time.
constexpr std::chrono::milliseconds LONGEST_DEADLINE = std::chrono::hours(24 * 365);

/// Idle connections kept for later requests. libcurl's default is four for each running transfer, so none
/// after a burst.
constexpr long KEPT_CONNECTIONS = 64;

}  // namespace

struct HTTPClient::State {
  base::Mutex mutex;
  CURLM* multi GEOLOOM_GUARDED_BY(mutex) = nullptr;
  std::vector<std::shared_ptr<Transfer>> handedOver GEOLOOM_GUARDED_BY(mutex);
  std::string certificateAuthorities GEOLOOM_GUARDED_BY(mutex);

  /// Used by the client's thread only.
  std::unordered_map<CURL*, std::shared_ptr<Transfer>> running;

  bool handOver(const std::shared_ptr<Transfer>& transfer);
  bool start() GEOLOOM_REQUIRES(mutex);
  [[noreturn]] void run(CURLM* handles);
  void work(CURLM* handles);
  void begin(CURLM* handles, const std::shared_ptr<Transfer>& transfer);
  void finishOne(CURLM* handles, CURL* easy, CURLcode code);
};

bool HTTPClient::State::start() {
  if (multi) return true;
  if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return false;
  CURLM* handles = curl_multi_init();
  if (!handles) return false;
  curl_multi_setopt(handles, CURLMOPT_MAXCONNECTS, KEPT_CONNECTIONS);
  // The thread blocks all signals, so a closed connection cannot end the process either.
  if (!base::startThread("geoloom-http", [this, handles] { run(handles); })) {
    curl_multi_cleanup(handles);
    return false;
  }
  multi = handles;
  // At process exit, transfers and the parsing of answers must end before the libraries that they use are
  // destroyed: the TLS library, initialised by now, and the JSON parser, initialised by its first use.
  static_cast<void>(JSON::emptyArray());
  base::restAtExit();
  return true;
}

bool HTTPClient::State::handOver(const std::shared_ptr<Transfer>& transfer) {
  const base::MutexLock lock(mutex);
  if (!start()) return false;
  transfer->certificateAuthorities = certificateAuthorities;
  handedOver.push_back(transfer);
  curl_multi_wakeup(multi);
  return true;
}

void HTTPClient::State::run(CURLM* handles) {
  constexpr int LONGEST_WAIT = 60'000;
  while (true) {
    if (const base::Work permitted; permitted)
      work(handles);
    else
      base::parkThread();
    curl_multi_poll(handles, nullptr, 0, LONGEST_WAIT, nullptr);
  }
}

void HTTPClient::State::work(CURLM* handles) {
  std::vector<std::shared_ptr<Transfer>> arrived;
  {
    const base::MutexLock lock(mutex);
    arrived.swap(handedOver);
  }
  for (const auto& transfer : arrived) begin(handles, transfer);
  int left = 0;
  curl_multi_perform(handles, &left);
  while (const CURLMsg* message = curl_multi_info_read(handles, &left))
    if (message->msg == CURLMSG_DONE) finishOne(handles, message->easy_handle, message->data.result);
}

void HTTPClient::State::begin(CURLM* handles, const std::shared_ptr<Transfer>& transfer) {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(transfer->deadline - std::chrono::steady_clock::now());
  if (left.count() <= 0) return finish(transfer, base::Failure{"The deadline has passed"});
  transfer->easy = makeHandle(*transfer, left);
  CURL* easy = transfer->easy.get();
  if (!easy) return finish(transfer, base::Failure{"Out of memory"});
  if (const CURLMcode code = curl_multi_add_handle(handles, easy); code != CURLM_OK)
    return finish(transfer, base::Failure{curl_multi_strerror(code)});
  running.emplace(easy, transfer);
}

void HTTPClient::State::finishOne(CURLM* handles, CURL* easy, CURLcode code) {
  curl_multi_remove_handle(handles, easy);
  const std::shared_ptr<Transfer> transfer = std::move(running.extract(easy).mapped());
  if (code != CURLE_OK) return finish(transfer, base::Failure{reasonOf(*transfer, code)});
  long status = 0;
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  transfer->response.status = static_cast<int>(status);
  transfer->response.date = dateOf(easy);
  finish(transfer, std::move(transfer->response));
}

HTTPClient::HTTPClient() : state_(std::make_unique<State>()) {}

HTTPClient::~HTTPClient() = default;

HTTPClient& HTTPClient::shared() {
  // Never destroyed: its thread and the queues may still use it while the process ends.
  static HTTPClient* const client = new HTTPClient;
  return *client;
}

void HTTPClient::setCertificateAuthorities(std::string pemFile) {
  const base::MutexLock lock(state_->mutex);
  state_->certificateAuthorities.swap(pemFile);
}

void HTTPClient::post(HTTPRequest request, std::shared_ptr<DispatchQueue> queue, Completion completion) {
  auto transfer = std::make_shared<Transfer>();
  transfer->deadline = std::chrono::steady_clock::now() + std::min(request.deadline, LONGEST_DEADLINE);
  transfer->request = std::move(request);
  transfer->queue = std::move(queue);
  transfer->completion = std::move(completion);
  const base::Result<HTTPAddress> address = HTTPAddress::of(transfer->request.url);
  if (!address) return finish(transfer, address.failure());
  transfer->isPlain = address->isPlain;
  if (const base::Result<void> valid = checkHeaders(transfer->request); !valid)
    return finish(transfer, valid.failure());
  if (!state_->handOver(transfer)) finish(transfer, base::Failure{"The HTTP client could not be started"});
}

base::Result<HTTPResponse> HTTPClient::postAndWait(HTTPRequest request) {
  std::optional<base::Result<HTTPResponse>> answer;
  DispatchSemaphore answered(0);
  post(std::move(request), DispatchQueue::global(), [&](base::Result<HTTPResponse> result) {
    answer = std::move(result);
    answered.signal();
  });
  answered.wait();
  return std::move(*answer);
}

void HTTPClient::postJSON(HTTPRequest request, std::shared_ptr<DispatchQueue> queue,
                          std::function<void(std::optional<JSON>)> completion) {
  post(std::move(request), DispatchQueue::global(),
       [queue = std::move(queue),
        completion = std::move(completion)](const base::Result<HTTPResponse>& answer) mutable {
         std::optional<JSON> value;
         if (answer) value = JSON::parse(answer->body);
         queue->async([completion = std::move(completion), value = std::move(value)] { completion(value); });
       });
}

}  // namespace geoloom::platform
