#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include <httplib.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include "tests/support/TemporaryDirectory.h"

namespace geoloom::test {

template <auto free>
struct Free {
  template <class T>
  void operator()(T* pointer) const {
    free(pointer);
  }
};
using Key = std::unique_ptr<EVP_PKEY, Free<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Free<X509_free>>;

struct Identity {
  Key key;
  Certificate certificate;
};

inline constexpr long day = 24L * 60 * 60;

inline void addExtension(X509* certificate, X509* issuer, int name, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, name, value.c_str());
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

/// Valid from two days ago; signed by `issuer`, or by itself.
inline Identity makeIdentity(const std::string& name, const std::string& subjects, long secondsLeft,
                             const Identity* issuer) {
  Identity made{Key(EVP_EC_gen("P-256")), Certificate(X509_new())};
  X509* certificate = made.certificate.get();
  static long serial = 0;
  X509_set_version(certificate, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), ++serial);
  X509_gmtime_adj(X509_getm_notBefore(certificate), -2 * day);
  X509_gmtime_adj(X509_getm_notAfter(certificate), secondsLeft);
  X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
  X509* issuing = issuer ? issuer->certificate.get() : certificate;
  X509_set_issuer_name(certificate, X509_get_subject_name(issuing));
  X509_set_pubkey(certificate, made.key.get());
  addExtension(certificate, issuing, NID_basic_constraints,
               issuer ? "critical,CA:FALSE" : "critical,CA:TRUE");
  if (!subjects.empty()) addExtension(certificate, issuing, NID_subject_alt_name, subjects);
  X509_sign(certificate, issuer ? issuer->key.get() : made.key.get(), EVP_sha256());
  return made;
}

/// Answers [] to whoever trusts its certificate, on a port of its own.
class SecureService {
 public:
  explicit SecureService(const Identity& identity) : server_(identity.certificate.get(), identity.key.get()) {
    server_.Post("/.*", [this](const httplib::Request&, httplib::Response& response) {
      ++requests;
      response.set_content("[]", "application/json");
    });
    server_.set_keep_alive_max_count(1);
    port_ = server_.bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    while (!server_.is_running()) std::this_thread::yield();
  }
  SecureService(const SecureService&) = delete;
  SecureService& operator=(const SecureService&) = delete;
  ~SecureService() {
    server_.stop();
    thread_.join();
  }
  /// Without a slash at the end.
  [[nodiscard]] std::string address() const { return "https://127.0.0.1:" + std::to_string(port_); }

  std::atomic<int> requests{0};

 private:
  httplib::SSLServer server_;
  int port_ = 0;
  std::thread thread_;
};

/// A certificate authority with its certificate in a file, and a service that it vouches for.
class Authority {
 public:
  Authority() {
    const std::unique_ptr<FILE, Free<fclose>> file(fopen(this->file().c_str(), "w"));
    PEM_write_X509(file.get(), identity.certificate.get());
  }
  [[nodiscard]] std::string file() const { return (directory_.path() / "authority.pem").string(); }

  const Identity identity = makeIdentity("Authority", "", 2 * day, nullptr);
  const Identity good = makeIdentity("Service", "IP:127.0.0.1", 2 * day, &identity);
  const Identity wrongName = makeIdentity("127.0.0.1", "IP:127.0.0.2,DNS:localhost", 2 * day, &identity);
  const Identity expired = makeIdentity("Service", "IP:127.0.0.1", -day, &identity);
  const Identity itself = makeIdentity("Service", "IP:127.0.0.1", 2 * day, nullptr);

 private:
  const test::TemporaryDirectory directory_;
};

}  // namespace geoloom::test
