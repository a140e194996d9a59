#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <set>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/thread_pool.hpp>

#include "localcloud/HTTPServer.h"

namespace geoloom::localcloud {

/// The connection of one client. Call all functions on the thread that runs HTTPShared::io; the handler runs
/// on the workers.
class HTTPConnection {
 public:
  HTTPConnection() = default;
  virtual ~HTTPConnection() = default;
  HTTPConnection(const HTTPConnection&) = delete;
  HTTPConnection& operator=(const HTTPConnection&) = delete;

  virtual void start() = 0;
  /// Closes the connection, after the answer if a request is being answered.
  virtual void stop() = 0;
};

/// The state that the connections of a server share.
struct HTTPShared {
  const HTTPServer::Options options;
  const HTTPServer::Handler handler;
  boost::asio::io_context io{1};
  boost::asio::thread_pool workers;
  std::set<HTTPConnection*> connections = {};
  std::function<void()> connectionEnded = {};
  std::size_t answering = 0;  ///< requests that wait for a worker or are being handled
  bool isStopping = false;
};

/// A connection over an accepted socket, by TLS if there is a context. It owns itself until it is closed.
[[nodiscard]] std::shared_ptr<HTTPConnection> makeConnection(HTTPShared& shared,
                                                             boost::asio::ip::tcp::socket socket,
                                                             boost::asio::ssl::context* tls);

}  // namespace geoloom::localcloud
