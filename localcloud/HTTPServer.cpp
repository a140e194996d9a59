#include "localcloud/HTTPServer.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <httplib.h>
#include <netdb.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include "geoloom/base/Descriptor.h"

#include "localcloud/Connection.h"

namespace geoloom::localcloud {

namespace {

using base::Descriptor;

constexpr int BACKLOG = 512;

std::string errorText(int error) {
  return std::generic_category().message(error);
}

Descriptor listen(const std::string& host, int port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int lookup = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
  if (lookup != 0) throw ListenError(fmt::format("cannot listen on {}: {}", host, ::gai_strerror(lookup)));
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> address(found, &::freeaddrinfo);

  Descriptor socket(::socket(address->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const int on = 1;
  // Lets a restarted service have its port back at once; a port that is listened on stays taken.
  ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (::bind(socket.get(), address->ai_addr, address->ai_addrlen) != 0 ||
      ::listen(socket.get(), BACKLOG) != 0) {
    const int error = errno;
    throw ListenError(fmt::format("cannot listen on {} port {}: {}{}", host, port, errorText(error),
                                  error == EADDRINUSE ? "; choose another with --port, or 0 for any" : ""));
  }
  return socket;
}

int portOf(int socket) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  std::array<char, NI_MAXSERV> service{};
  ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
  ::getnameinfo(reinterpret_cast<sockaddr*>(&address), size, nullptr, 0, service.data(), service.size(),
                NI_NUMERICSERV);
  return std::stoi(service.data());
}

std::shared_ptr<SSL_CTX> tlsContext(const std::optional<TLSFiles>& files) {
  if (!files) return nullptr;
  std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), &SSL_CTX_free);
  SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
  // A key with a pass phrase is refused: asking for it would block on the terminal.
  SSL_CTX_set_default_passwd_cb(context.get(), [](char*, int, int, void*) { return -1; });
  SSL_CTX_set_mode(context.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  const auto require = [](bool done, const char* what, const std::filesystem::path& file) {
    if (done) return;
    // The first error is the cause; the last one only says which part of the library gave up.
    const unsigned long error = ERR_peek_error();
    ERR_clear_error();
    const char* const reason = ERR_reason_error_string(error);
    throw ListenError(fmt::format("cannot use the {} {}: {}", what, file.string(),
                                  ERR_SYSTEM_ERROR(error) ? errorText(ERR_GET_REASON(error))
                                  : reason                ? reason
                                                          : "unknown error"));
  };
  require(SSL_CTX_use_certificate_chain_file(context.get(), files->certificate.c_str()) == 1, "certificate",
          files->certificate);
  require(SSL_CTX_use_PrivateKey_file(context.get(), files->key.c_str(), SSL_FILETYPE_PEM) == 1,
          "private key", files->key);
  return context;
}

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

Request requestOf(const httplib::Request& source) {
  Request request{.method = source.method, .target = source.target, .headers = {}, .body = {}};
  for (const auto& [name, value] : source.headers) request.headers.emplace(lowerCase(name), value);
  return request;
}

void fill(httplib::Response& response, const Answer& answer) {
  response.status = answer.status;
  for (const auto& [name, value] : answer.headers) response.set_header(name, value);
  response.set_content(answer.body, answer.contentType);
}

bool isChunked(const httplib::Request& request) {
  return lowerCase(request.get_header_value("Transfer-Encoding")) == "chunked";
}

/// At most 18 digits, so that every parser reads the same number.
bool isPlainNumber(const std::string& text) {
  return !text.empty() && text.size() <= 18 &&
         std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

/// Whether the end of the body is unambiguous and its transfer coding supported.
bool isFramed(const httplib::Request& request) {
  const bool hasLength = request.has_header("Content-Length");
  if (request.has_header("Transfer-Encoding")) return isChunked(request) && !hasLength;
  return request.get_header_value_count("Content-Length") <= 1 &&
         (!hasLength || isPlainNumber(request.get_header_value("Content-Length")));
}

/// The library would parse forms and inflate compressed bodies, and a signature covers the original bytes.
bool isPlainBody(const httplib::Request& request) {
  const std::string encoding = lowerCase(request.get_header_value("Content-Encoding"));
  return !request.is_multipart_form_data() && (encoding.empty() || encoding == "identity");
}

/// The HTTP library's parser and writer for one connection; the Listener owns sockets and threads.
class Protocol : private httplib::Server {
 public:
  Protocol(const HTTPServer::Handler& handler, const HTTPServer::Options& options, Connection& connection)
      : handler_(handler),
        bodyLimit_(options.bodyLimit),
        tooLate_(fmt::format("The request was not complete within {} s",
                             std::chrono::duration<double>(options.requestDeadline).count())),
        connection_(connection) {
    set_keep_alive_timeout(std::chrono::duration_cast<std::chrono::seconds>(options.idleDeadline).count());
    set_keep_alive_max_count(1'000'000);
    set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
      return answerWithoutBody(request, response) ? HandlerResponse::Handled : HandlerResponse::Unhandled;
    });
    Post("/", [this](const httplib::Request& request, httplib::Response& response,
                     const httplib::ContentReader& content) { answerPost(request, response, content); });
    set_error_handler([this](const httplib::Request&, httplib::Response& response) {
      if (response.body.empty()) fill(response, refusalOfTheUnread(response.status));
    });
    // The library sets Keep-Alive before it knows that the connection will close.
    set_post_routing_handler([](const httplib::Request&, httplib::Response& response) {
      if (response.get_header_value("Connection") == "close") response.headers.erase("Keep-Alive");
    });
  }

  /// Reads a request and answers it. False when the connection is of no further use.
  bool serve() {
    reusable_ = false;  // until its head is read
    bool last = false;
    connection_.limitInput(MAXIMUM_HEAD_BYTES);
    const bool done = process_request(connection_, false, last,
                                      [this](httplib::Request& request) { beginAnswer(request); });
    if (!done && !connection_.hasUnsent() && connection_.isLate()) sayTooLate();
    return connection_.flush() && done && reusable_ && !last;
  }

 private:
  static constexpr std::size_t MAXIMUM_HEAD_BYTES = std::size_t{64} * 1024;

  /// The head is read, the body is not.
  void beginAnswer(httplib::Request& request) {
    connection_.unlimitInput();
    reusable_ = request.method == "POST" && isFramed(request) && isPlainBody(request);
    if (!reusable_) {
      request.headers.erase("Connection");
      request.set_header("Connection", "close");
    }
    // One route for all, so that no path meets a pattern matcher; the handlers go by the target.
    request.path.assign(1, '/');
  }

  /// The answer to a request whose head or body is malformed or late.
  [[nodiscard]] Answer refusalOfTheUnread(int status) const {
    Answer answer =
        connection_.isLate() ? mappingError(408, tooLate_) : mappingError(status, "malformed HTTP request");
    answer.headers.emplace_back("Connection", "close");
    return answer;
  }

  /// The library does not answer half a request line.
  void sayTooLate() const {
    const std::string body = mappingError(408, tooLate_).body;
    const std::string text = fmt::format(
        "HTTP/1.1 408 Request Timeout\r\nConnection: close\r\nContent-Type: application/json\r\n"
        "Content-Length: {}\r\n\r\n{}",
        body.size(), body);
    connection_.write(text.data(), text.size());
  }

  bool answerWithoutBody(const httplib::Request& request, httplib::Response& response) const {
    if (!isFramed(request)) {
      fill(response, mappingError(400, "Content-Length or Transfer-Encoding is not valid"));
    } else if (!isPlainBody(request)) {
      fill(response, mappingError(415, "The body must be JSON, not compressed and not a form"));
    } else if (request.method != "POST") {
      fill(response, handler_(requestOf(request)));
    } else {
      return false;
    }
    return true;
  }

  void answerPost(const httplib::Request& request, httplib::Response& response,
                  const httplib::ContentReader& content) {
    Request whole = requestOf(request);
    if (request.has_header("Content-Length") || isChunked(request)) {
      // A body over the limit is read to its end, so that the client can read the answer, but not stored.
      reusable_ = content([&](const char* bytes, std::size_t size) {
        whole.bodyTooLarge = whole.bodyTooLarge || whole.body.size() + size > bodyLimit_;
        if (whole.bodyTooLarge) {
          whole.body.clear();
        } else {
          whole.body.append(bytes, size);
        }
        return true;
      });
      if (!reusable_) return;
    }
    fill(response, handler_(whole));
  }

  const HTTPServer::Handler& handler_;
  std::size_t bodyLimit_;
  std::string tooLate_;
  Connection& connection_;
  /// Whether the bytes after this request are the next one.
  bool reusable_ = false;
};

}  // namespace

class HTTPServer::Listener {
 public:
  Listener(const Options& options, Handler handler)
      : options_(options),
        tls_(tlsContext(options.tls)),
        socket_(listen(options.host, options.port)),
        stop_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
        handler_(std::move(handler)),
        accepting_([this] { acceptAll(); }) {}

  ~Listener() {
    ::eventfd_write(stop_.get(), 1);
    accepting_.join();
    for (Slot& slot : slots_) slot.thread.join();
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  [[nodiscard]] int port() const { return portOf(socket_.get()); }

 private:
  struct Slot {
    std::atomic<bool> ended = false;
    std::thread thread = {};
  };

  void acceptAll() {
    for (;;) {
      joinEnded();
      // Without room for another connection new ones wait in the system's queue; look again shortly.
      const bool room = slots_.size() < options_.connectionLimit;
      std::array<pollfd, 2> waiting = {pollfd{room ? socket_.get() : -1, POLLIN, 0},
                                       pollfd{stop_.get(), POLLIN, 0}};
      ::poll(waiting.data(), waiting.size(), room ? 1000 : 5);
      if (waiting[1].revents != 0) return;
      if (waiting[0].revents == 0) continue;
      Descriptor socket(::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
      if (socket) {
        start(std::move(socket));
      } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));  // until a connection ends
      }
    }
  }

  void joinEnded() {
    std::erase_if(slots_, [](Slot& slot) {
      if (!slot.ended) return false;
      slot.thread.join();
      return true;
    });
  }

  void start(Descriptor socket) {
    std::list<Slot> added;
    // Without another thread or more memory this connection is closed; the others continue.
    try {
      Slot& slot = added.emplace_back();
      slot.thread = std::thread([this, &slot, socket = std::move(socket)]() mutable {
        try {
          serve(std::move(socket));
        } catch (const std::exception&) {
        }
        slot.ended = true;
      });
      slots_.splice(slots_.end(), added);
    } catch (const std::exception&) {
    }
  }

  void serve(Descriptor socket) {
    Connection connection(std::move(socket), stop_.get(), tls_.get());
    Protocol protocol(handler_, options_, connection);
    while (connection.awaitRequest(Connection::Clock::now() + options_.idleDeadline)) {
      connection.setDeadline(Connection::Clock::now() + options_.requestDeadline);
      if (!protocol.serve()) break;
    }
  }

  const Options options_;
  const std::shared_ptr<SSL_CTX> tls_;
  const Descriptor socket_;
  const Descriptor stop_;
  const Handler handler_;
  std::list<Slot> slots_;  // of the accepting thread until that has ended
  std::thread accepting_;
};

HTTPServer::HTTPServer(const Options& options, Handler handler)
    : listener_(std::make_unique<Listener>(options, std::move(handler))) {}

HTTPServer::~HTTPServer() = default;

int HTTPServer::port() const {
  return listener_->port();
}

}  // namespace geoloom::localcloud
