#include "localcloud/HTTPConnection.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <fmt/format.h>

namespace geoloom::localcloud {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;

constexpr std::size_t MAXIMUM_HEAD_BYTES = std::size_t{64} * 1024;
constexpr std::size_t MAXIMUM_TARGET_BYTES = std::size_t{8} * 1024;
constexpr std::size_t PIECE_BYTES = std::size_t{16} * 1024;
/// Time for the client to read the answer and close a connection that the server does not reuse.
constexpr std::chrono::milliseconds CLOSING_DEADLINE{1000};

using Head = http::request<http::buffer_body>;

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

std::string valueOf(const Head& head, http::field name) {
  const auto value = head[name];
  return lowerCase(std::string(value.data(), value.size()));
}

Request requestOf(const Head& head) {
  Request request{.method = std::string(head.method_string()),
                  .target = std::string(head.target()),
                  .headers = {},
                  .body = {}};
  for (const auto& field : head)
    request.headers.emplace(lowerCase(std::string(field.name_string())), std::string(field.value()));
  return request;
}

/// The answer to a request whose body is not read. A signature covers a body's original bytes.
std::optional<Answer> refusalOf(const Head& head) {
  if (head.target().size() > MAXIMUM_TARGET_BYTES) return mappingError(414, "The path is too long");
  if (head.count(http::field::transfer_encoding) > 0 &&
      valueOf(head, http::field::transfer_encoding) != "chunked")
    return mappingError(400, "Transfer-Encoding can only be chunked");
  const std::string encoding = valueOf(head, http::field::content_encoding);
  if ((!encoding.empty() && encoding != "identity") ||
      valueOf(head, http::field::content_type).starts_with("multipart/"))
    return mappingError(415, "The body must be JSON, not compressed and not a form");
  return std::nullopt;
}

template <class Stream>
class Connection final : public HTTPConnection, public std::enable_shared_from_this<Connection<Stream>> {
 public:
  template <class... Arguments>
  explicit Connection(HTTPShared& shared, Arguments&&... arguments)
      : shared_(shared), stream_(std::forward<Arguments>(arguments)...), timer_(shared.io) {
    shared_.connections.insert(this);
  }
  ~Connection() override {
    shared_.connections.erase(this);
    shared_.connectionEnded();
  }

  void start() override {
    error_code ignored;
    socket().set_option(tcp::no_delay(true), ignored);  // an answer is sent in one piece
    if constexpr (IS_TLS) {
      setDeadline(shared_.options.requestDeadline);
      stream_.async_handshake(asio::ssl::stream_base::server, [self = self()](error_code error) {
        error ? self->close() : self->awaitRequest();
      });
    } else {
      awaitRequest();
    }
  }

  void stop() override {
    if (phase_ == Phase::idle || phase_ == Phase::reading) close();
  }

 private:
  static constexpr bool IS_TLS = !std::is_same_v<Stream, tcp::socket>;
  enum class Phase { idle, reading, answering, ending };

  auto self() { return this->shared_from_this(); }
  tcp::socket& socket() {
    if constexpr (IS_TLS) {
      return stream_.next_layer();
    } else {
      return stream_;
    }
  }

  void close() {
    timer_.cancel();
    error_code ignored;
    socket().close(ignored);
  }

  void setDeadline(std::chrono::milliseconds deadline) {
    timer_.expires_after(deadline);
    timer_.async_wait([weak = this->weak_from_this()](error_code error) {
      const auto self = weak.lock();
      // A deadline that was moved while its handler waited in the queue has not passed.
      if (error || !self || self->timer_.expiry() > std::chrono::steady_clock::now()) return;
      if (self->phase_ != Phase::reading) return self->close();
      self->isLate_ = true;
      error_code ignored;
      self->socket().cancel(ignored);
    });
  }

  void awaitRequest() {
    phase_ = Phase::idle;
    if (shared_.isStopping) return close();
    if (input_.size() > 0) return readHead();
    setDeadline(shared_.options.idleDeadline);
    stream_.async_read_some(input_.prepare(PIECE_BYTES / 4),
                            [self = self()](error_code error, std::size_t size) {
                              if (error) return self->close();
                              self->input_.commit(size);
                              self->readHead();
                            });
  }

  void readHead() {
    phase_ = Phase::reading;
    setDeadline(shared_.options.requestDeadline);
    parser_.emplace();
    parser_->header_limit(MAXIMUM_HEAD_BYTES);
    parser_->body_limit(std::numeric_limits<std::uint64_t>::max());  // keep() has the limit
    http::async_read_header(stream_, input_, *parser_,
                            [self = self()](error_code error, std::size_t) { self->headIsRead(error); });
  }

  void headIsRead(error_code error) {
    if (error) return refuseUnread(error);
    const Head& head = parser_->get();
    isKept_ = head.keep_alive();
    request_ = requestOf(head);
    if (auto refusal = refusalOf(head)) return refuse(*std::move(refusal));
    if (valueOf(head, http::field::expect) != "100-continue") return readBody();
    static constexpr std::string_view CONTINUE = "HTTP/1.1 100 Continue\r\n\r\n";
    asio::async_write(stream_, asio::buffer(CONTINUE), [self = self()](error_code failure, std::size_t) {
      failure ? self->close() : self->readBody();
    });
  }

  /// A body over the limit is read to its end, so that the client can read the answer, but not kept.
  void readBody() {
    if (parser_->is_done()) return answer();
    auto& body = parser_->get().body();
    piece_.resize(PIECE_BYTES);
    body.data = piece_.data();
    body.size = piece_.size();
    http::async_read(stream_, input_, *parser_, [self = self()](error_code error, std::size_t) {
      if (error && error != http::error::need_buffer) return self->refuseUnread(error);
      self->keep(self->piece_.size() - self->parser_->get().body().size);
      self->readBody();
    });
  }

  void keep(std::size_t size) {
    request_.bodyTooLarge = request_.bodyTooLarge || request_.body.size() + size > shared_.options.bodyLimit;
    if (request_.bodyTooLarge) {
      request_.body.clear();
    } else {
      request_.body.append(piece_, 0, size);
    }
  }

  /// Answers a request whose head or body is malformed or late, unless the client has gone.
  void refuseUnread(error_code error) {
    if (isLate_) {
      return refuse(mappingError(
          408, fmt::format("The request was not complete within {} s",
                           std::chrono::duration<double>(shared_.options.requestDeadline).count())));
    }
    const bool isMalformed = error.category() == error_code(http::error::bad_method).category() &&
                             error != http::error::end_of_stream && error != http::error::partial_message;
    isMalformed ? refuse(mappingError(400, "malformed HTTP request")) : close();
  }

  void refuse(Answer refusal) {
    isKept_ = false;
    write(std::move(refusal));
  }

  void answer() {
    phase_ = Phase::answering;
    timer_.cancel();
    if (shared_.answering >= shared_.options.answeringLimit) {
      Answer busy = mappingError(503, "The service is busy; try again in a second");
      busy.headers.emplace_back("Retry-After", "1");
      return write(std::move(busy));
    }
    ++shared_.answering;
    asio::post(shared_.workers, [self = self(), work = asio::make_work_guard(shared_.io)]() mutable {
      HTTPShared& shared = self->shared_;
      Answer answer = shared.handler(self->request_);
      // The last owner of a connection is on the I/O thread.
      asio::post(shared.io, [self = std::move(self), answer = std::move(answer)]() mutable {
        --self->shared_.answering;
        self->write(std::move(answer));
      });
    });
  }

  void write(Answer answer) {
    phase_ = Phase::answering;
    setDeadline(shared_.options.requestDeadline);
    response_ = {};
    response_.result(static_cast<unsigned>(answer.status));
    for (const auto& [name, value] : answer.headers) response_.set(name, value);
    response_.set(http::field::content_type, answer.contentType);
    response_.keep_alive(isKept_);
    response_.content_length(answer.body.size());
    if (request_.method != "HEAD") response_.body() = std::move(answer.body);
    http::async_write(stream_, response_, [self = self()](error_code error, std::size_t) {
      if (error) return self->close();
      self->isKept_ && !self->shared_.isStopping ? self->beginNext() : self->end();
    });
  }

  void beginNext() {
    // An idle connection keeps no memory of its last request.
    parser_.reset();
    request_ = {};
    response_ = {};
    piece_ = {};
    input_.shrink_to_fit();
    awaitRequest();
  }

  void end() {
    phase_ = Phase::ending;
    setDeadline(CLOSING_DEADLINE);
    if constexpr (IS_TLS) {
      stream_.async_shutdown([self = self()](error_code) { self->discardRest(); });
    } else {
      discardRest();
    }
  }

  /// If the socket were closed while the client still sends, a reset could destroy the answer in flight.
  void discardRest() {
    error_code ignored;
    socket().shutdown(tcp::socket::shutdown_send, ignored);
    if (shared_.isStopping) return close();
    piece_.resize(PIECE_BYTES);
    socket().async_read_some(asio::buffer(piece_), [self = self()](error_code error, std::size_t) {
      error ? self->close() : self->discardRest();
    });
  }

  HTTPShared& shared_;
  Stream stream_;
  asio::steady_timer timer_;
  Phase phase_ = Phase::idle;
  bool isLate_ = false;
  bool isKept_ = false;  ///< true if the bytes after this request are the next one
  beast::flat_buffer input_;
  std::optional<http::request_parser<http::buffer_body>> parser_;
  std::string piece_;
  Request request_;
  http::response<http::string_body> response_;
};

}  // namespace

std::shared_ptr<HTTPConnection> makeConnection(HTTPShared& shared, tcp::socket socket,
                                               asio::ssl::context* tls) {
  if (tls != nullptr)
    return std::make_shared<Connection<beast::ssl_stream<tcp::socket>>>(shared, std::move(socket), *tls);
  return std::make_shared<Connection<tcp::socket>>(shared, std::move(socket));
}

}  // namespace geoloom::localcloud
