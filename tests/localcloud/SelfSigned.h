#pragma once

#include "localcloud/HTTPServer.h"
#include "tests/support/SecureService.h"
#include "tests/support/TemporaryDirectory.h"

namespace geoloom::localcloud {

/// A key and a self-signed certificate for 127.0.0.1.
inline TLSFiles selfSigned(const test::TemporaryDirectory& directory) {
  using geoloom::test::Free;
  const auto identity = geoloom::test::makeIdentity("local", "IP:127.0.0.1", geoloom::test::day, nullptr);
  TLSFiles files{.certificate = directory.path() / "cert.pem", .key = directory.path() / "key.pem"};
  const std::unique_ptr<FILE, Free<fclose>> certificate(fopen(files.certificate.c_str(), "w"));
  PEM_write_X509(certificate.get(), identity.certificate.get());
  const std::unique_ptr<FILE, Free<fclose>> key(fopen(files.key.c_str(), "w"));
  PEM_write_PrivateKey(key.get(), identity.key.get(), nullptr, nullptr, 0, nullptr, nullptr);
  return files;
}

}  // namespace geoloom::localcloud
