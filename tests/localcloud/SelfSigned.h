#pragma once

#include "localcloud/HTTPServer.h"
#include "tests/support/SecureService.h"
#include "tests/support/TemporaryDirectory.h"

namespace geoloom::localcloud {

/// A key and a self-signed certificate for 127.0.0.1.
inline TLSFiles selfSigned(const test::TemporaryDirectory& directory) {
  TLSFiles files{.certificate = directory.path() / "cert.pem", .key = directory.path() / "key.pem"};
  test::writeSelfSigned(files.certificate, files.key);
  return files;
}

}  // namespace geoloom::localcloud
