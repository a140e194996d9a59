#include "localcloud/HTTPServer.h"

#include <chrono>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <fmt/format.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include "localcloud/HTTPConnection.h"

namespace geoloom::localcloud {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

constexpr int BACKLOG = 4096;
/// Writes wait for the disk together; reads go on beside them.
constexpr std::size_t WORKERS = 32;

tcp::acceptor listen(asio::io_context& io, const std::string& host, int port) {
  error_code error;
  const auto addresses = tcp::resolver(io).resolve(
      host, std::to_string(port), tcp::resolver::passive | tcp::resolver::numeric_service, error);
  if (error) throw ListenError(fmt::format("cannot listen on {}: {}", host, error.message()));
  const tcp::endpoint address = *addresses.begin();
  tcp::acceptor acceptor(io, address.protocol());
  // Lets a restarted service reuse its port at once; a port in use stays protected.
  acceptor.set_option(tcp::acceptor::reuse_address(true));
  acceptor.bind(address, error);
  if (!error) acceptor.listen(BACKLOG, error);
  if (error) {
    throw ListenError(fmt::format(
        "cannot listen on {} port {}: {}{}", host, port, error.message(),
        error == asio::error::address_in_use ? "; choose another with --port, or 0 for any" : ""));
  }
  return acceptor;
}

std::optional<asio::ssl::context> tlsContext(const std::optional<TLSFiles>& files) {
  if (!files) return std::nullopt;
  std::optional<asio::ssl::context> tls(asio::ssl::context::tls_server);
  SSL_CTX* const context = tls->native_handle();
  SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
  // A key with a pass phrase is rejected: a prompt would block on the terminal.
  SSL_CTX_set_default_passwd_cb(context, [](char*, int, int, void*) { return -1; });
  const auto require = [](bool done, const char* what, const std::filesystem::path& file) {
    if (done) return;
    // The first error is the cause; later ones are its consequences.
    const unsigned long error = ERR_peek_error();
    ERR_clear_error();
    const char* const reason = ERR_reason_error_string(error);
    throw ListenError(fmt::format("cannot use the {} {}: {}", what, file.string(),
                                  ERR_SYSTEM_ERROR(error)
                                      ? std::generic_category().message(ERR_GET_REASON(error))
                                  : reason ? reason
                                           : "unknown error"));
  };
  require(SSL_CTX_use_certificate_chain_file(context, files->certificate.c_str()) == 1, "certificate",
          files->certificate);
  require(SSL_CTX_use_PrivateKey_file(context, files->key.c_str(), SSL_FILETYPE_PEM) == 1, "private key",
          files->key);
  return tls;
}

}  // namespace

class HTTPServer::Listener {
 public:
  Listener(const Options& options, Handler handler)
      : tls_(tlsContext(options.tls)),
        shared_{.options = options, .handler = std::move(handler), .workers{WORKERS}},
        acceptor_(listen(shared_.io, options.host, options.port)),
        port_(acceptor_.local_endpoint().port()),
        retry_(shared_.io) {
    shared_.connectionEnded = [this] {
      if (!isAccepting_) accept();
    };
    accept();
    serving_ = std::thread([this] { shared_.io.run(); });
  }

  ~Listener() {
    asio::post(shared_.io, [this] {
      shared_.isStopping = true;
      acceptor_.close();
      retry_.cancel();
      for (HTTPConnection* const connection : shared_.connections) connection->stop();
    });
    serving_.join();  // once no connection is left
    shared_.workers.join();
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  [[nodiscard]] int port() const { return port_; }

 private:
  /// Beyond the limit new connections wait in the system's queue until one ends.
  void accept() {
    isAccepting_ = !shared_.isStopping && shared_.connections.size() < shared_.options.connectionLimit;
    if (!isAccepting_) return;
    acceptor_.async_accept([this](error_code error, tcp::socket socket) {
      if (shared_.isStopping) return;
      if (error) return acceptLater();  // without a free descriptor, for example
      makeConnection(shared_, std::move(socket), tls_ ? &*tls_ : nullptr)->start();
      accept();
    });
  }

  void acceptLater() {
    retry_.expires_after(std::chrono::milliseconds(5));
    retry_.async_wait([this](error_code) { accept(); });
  }

  std::optional<asio::ssl::context> tls_;
  HTTPShared shared_;
  // Used by the serving thread only, once it runs.
  tcp::acceptor acceptor_;
  const int port_;
  asio::steady_timer retry_;
  bool isAccepting_ = false;
  std::thread serving_;
};

HTTPServer::HTTPServer(const Options& options, Handler handler)
    : listener_(std::make_unique<Listener>(options, std::move(handler))) {}

HTTPServer::~HTTPServer() = default;

int HTTPServer::port() const {
  return listener_->port();
}

}  // namespace geoloom::localcloud
