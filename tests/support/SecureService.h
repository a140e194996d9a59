#pragma once

#include <atomic>
#include <memory>
#include <string>

#include <openssl/types.h>

#include "tests/support/TemporaryDirectory.h"

namespace geoloom::test {

/// A key and its certificate.
struct Identity {
  std::shared_ptr<EVP_PKEY> key;
  std::shared_ptr<X509> certificate;
};

/// An HTTPS service on a port of its own that answers [] to every POST.
class SecureService {
 public:
  explicit SecureService(const Identity& identity);
  SecureService(const SecureService&) = delete;
  SecureService& operator=(const SecureService&) = delete;
  ~SecureService();
  /// Without a slash at the end.
  [[nodiscard]] std::string address() const;

  std::atomic<int> requests{0};

 private:
  struct Server;
  std::unique_ptr<Server> server_;
};

/// Writes a self-signed certificate for 127.0.0.1 and its key as PEM files.
void writeSelfSigned(const std::string& certificateFile, const std::string& keyFile);

/// A certificate authority with its certificate in a file, and identities that it signed.
class Authority {
 public:
  Authority();
  [[nodiscard]] std::string file() const { return (directory_.path() / "authority.pem").string(); }

 private:
  const TemporaryDirectory directory_;
  const Identity identity_;

 public:
  const Identity good;
  const Identity wrongName;
  const Identity expired;
  /// Signed by itself.
  const Identity itself;
};

}  // namespace geoloom::test
