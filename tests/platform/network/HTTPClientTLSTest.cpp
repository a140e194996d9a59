#include <cstdio>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include "geoloom/platform/network/HTTPClient.h"

namespace {

using geoloom::platform::DispatchQueue;
using geoloom::platform::HTTPClient;
using geoloom::platform::HTTPRequest;
using geoloom::platform::HTTPResponse;
using testing::IsEmpty;
using testing::Not;

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

constexpr long day = 24L * 60 * 60;

void addExtension(X509* certificate, X509* issuer, int name, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, name, value.c_str());
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

/// Valid from two days ago; signed by `issuer`, or by itself.
Identity makeIdentity(const std::string& name, const std::string& subjects, long secondsLeft,
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

class SecureService {
 public:
  explicit SecureService(const Identity& identity) : server_(identity.certificate.get(), identity.key.get()) {
    server_.Post("/", [this](const httplib::Request&, httplib::Response& response) {
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
  [[nodiscard]] std::string url() const { return "https://127.0.0.1:" + std::to_string(port_) + "/"; }

  std::atomic<int> requests{0};

 private:
  httplib::SSLServer server_;
  int port_ = 0;
  std::thread thread_;
};

HTTPResponse answerTo(const std::string& url) {
  HTTPRequest request;
  request.url = url;
  request.body = "{}";
  std::promise<HTTPResponse> promise;
  HTTPClient::shared().post(std::move(request), DispatchQueue::global(),
                            [&promise](HTTPResponse response) { promise.set_value(std::move(response)); });
  return promise.get_future().get();
}

class HTTPClientTLS : public testing::Test {
 protected:
  HTTPClientTLS() {
    const std::unique_ptr<FILE, Free<fclose>> file(fopen(authorityFile_.c_str(), "w"));
    PEM_write_X509(file.get(), authority_.certificate.get());
  }
  ~HTTPClientTLS() override {
    HTTPClient::shared().setCertificateAuthorities({});
    std::filesystem::remove(authorityFile_);
  }

  void trustAuthority() const { HTTPClient::shared().setCertificateAuthorities(authorityFile_); }

  const Identity authority_ = makeIdentity("Authority", "", 2 * day, nullptr);
  const std::string authorityFile_ =
      (std::filesystem::temp_directory_path() / ("geoloom-authority-" + std::to_string(getpid()) + ".pem"))
          .string();
  const Identity good_ = makeIdentity("Service", "IP:127.0.0.1", 2 * day, &authority_);
};

TEST_F(HTTPClientTLS, TalksToAServiceThatProvesItsName) {
  SecureService service(good_);
  trustAuthority();
  EXPECT_EQ(answerTo(service.url()).error, "");
  EXPECT_EQ(service.requests, 1);
}

TEST_F(HTTPClientTLS, SendsNothingToAServiceThatDoesNot) {
  const Identity wrongName = makeIdentity("127.0.0.1", "IP:127.0.0.2,DNS:localhost", 2 * day, &authority_);
  const Identity expired = makeIdentity("Service", "IP:127.0.0.1", -day, &authority_);
  const Identity itself = makeIdentity("Service", "IP:127.0.0.1", 2 * day, nullptr);
  SecureService unknown(good_);
  EXPECT_THAT(answerTo(unknown.url()).error, Not(IsEmpty())) << "unknown authority";
  EXPECT_EQ(unknown.requests, 0);
  trustAuthority();
  for (const Identity* identity : {&wrongName, &expired, &itself}) {
    SecureService service(*identity);
    EXPECT_THAT(answerTo(service.url()).error, Not(IsEmpty()));
    EXPECT_EQ(service.requests, 0);
  }
}

TEST_F(HTTPClientTLS, ReadsNoAuthorityFromTheEnvironment) {
  for (const char* name : {"SSL_CERT_FILE", "CURL_CA_BUNDLE"}) setenv(name, authorityFile_.c_str(), 1);
  SecureService service(good_);
  EXPECT_THAT(answerTo(service.url()).error, Not(IsEmpty()));
  EXPECT_EQ(service.requests, 0);
}

}  // namespace
