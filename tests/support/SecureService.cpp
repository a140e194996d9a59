#include "tests/support/SecureService.h"

#include <cstdio>
#include <thread>

#include <httplib.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

namespace geoloom::test {

namespace {

constexpr long DAY = 24L * 60 * 60;

void addExtension(X509* certificate, X509* issuer, int name, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, name, value.c_str());
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

/// Valid from two days ago; signed by `issuer`, or by itself without one.
Identity makeIdentity(const std::string& name, const std::string& subjects, long secondsLeft,
                      const Identity* issuer) {
  const Identity made{{EVP_EC_gen("P-256"), &EVP_PKEY_free}, {X509_new(), &X509_free}};
  X509* certificate = made.certificate.get();
  static long serial = 0;
  X509_set_version(certificate, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), ++serial);
  X509_gmtime_adj(X509_getm_notBefore(certificate), -2 * DAY);
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

std::unique_ptr<FILE, int (*)(FILE*)> openToWrite(const std::string& file) {
  return {std::fopen(file.c_str(), "w"), &std::fclose};
}

}  // namespace

struct SecureService::Server {
  explicit Server(const Identity& identity) : http(identity.certificate.get(), identity.key.get()) {}

  httplib::SSLServer http;
  int port = 0;
  std::thread thread;
};

SecureService::SecureService(const Identity& identity) : server_(std::make_unique<Server>(identity)) {
  server_->http.Post("/.*", [this](const httplib::Request&, httplib::Response& response) {
    ++requests;
    response.set_content("[]", "application/json");
  });
  server_->http.set_keep_alive_max_count(1);
  server_->port = server_->http.bind_to_any_port("127.0.0.1");
  server_->thread = std::thread([this] { server_->http.listen_after_bind(); });
  while (!server_->http.is_running()) std::this_thread::yield();
}

SecureService::~SecureService() {
  server_->http.stop();
  server_->thread.join();
}

std::string SecureService::address() const {
  return "https://127.0.0.1:" + std::to_string(server_->port);
}

Authority::Authority()
    : identity_(makeIdentity("Authority", "", 2 * DAY, nullptr)),
      good(makeIdentity("Service", "IP:127.0.0.1", 2 * DAY, &identity_)),
      wrongName(makeIdentity("127.0.0.1", "IP:127.0.0.2,DNS:localhost", 2 * DAY, &identity_)),
      expired(makeIdentity("Service", "IP:127.0.0.1", -DAY, &identity_)),
      itself(makeIdentity("Service", "IP:127.0.0.1", 2 * DAY, nullptr)) {
  PEM_write_X509(openToWrite(file()).get(), identity_.certificate.get());
}

void writeSelfSigned(const std::string& certificateFile, const std::string& keyFile) {
  const Identity identity = makeIdentity("local", "IP:127.0.0.1", DAY, nullptr);
  PEM_write_X509(openToWrite(certificateFile).get(), identity.certificate.get());
  PEM_write_PrivateKey(openToWrite(keyFile).get(), identity.key.get(), nullptr, nullptr, 0, nullptr, nullptr);
}

}  // namespace geoloom::test
