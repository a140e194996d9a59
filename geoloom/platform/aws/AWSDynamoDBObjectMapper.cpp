#include "geoloom/platform/aws/AWSDynamoDBObjectMapper.h"

#include <algorithm>

#include "geoloom/platform/aws/AWSDynamoDBWire.h"
#include "geoloom/platform/aws/AWSRequest.h"

namespace geoloom::platform {

namespace {

AWSError unusable(std::string description) {
  return {AWSError::Kind::unsendable, std::move(description)};
}

/// The request, or one line that says why there is none.
std::variant<HTTPRequest, std::string> signedRequest(const AWSServiceConfiguration* configuration,
                                                     std::string_view target, std::string body) {
  if (configuration == nullptr) return "No default service configuration is set";
  if (configuration->endpoints.tables.empty()) return "No address of the table service is set";
  const std::string& accessKey = configuration->credentialsProvider->accessKey();
  if (!std::all_of(accessKey.begin(), accessKey.end(),
                   [](unsigned char c) { return c >= ' ' && c != '\x7f'; }))
    return "The access key holds a control character";
  auto request =
      awsRequest(*configuration, configuration->endpoints.tables, dynamodb::SERVICE, target, std::move(body));
  if (!request) return "The request cannot be signed: the digest library has no SHA-256";
  // Reading, and writing the same row once more, do no harm.
  request->mayBeSentTwice = true;
  return std::move(*request);
}

std::optional<AWSError> errorOf(const HTTPResponse& response) {
  if (response.refused) return unusable(response.error);
  if (!response.error.empty()) return AWSError{AWSError::Kind::transport, response.error};
  return dynamodb::readError(response.status, response.body);
}

/// Sends a request to the table service. `completion` runs once on `queue` with the body of a success.
void send(const std::shared_ptr<const AWSServiceConfiguration>& configuration, std::string_view target,
          std::string body, const std::shared_ptr<DispatchQueue>& queue,
          std::function<void(AWSResult<std::string>)> completion) {
  auto request = signedRequest(configuration.get(), target, std::move(body));
  if (auto* refusal = std::get_if<std::string>(&request)) {
    queue->async([completion = std::move(completion), refusal = std::move(*refusal)] {
      completion(unusable(refusal));
    });
    return;
  }
  HTTPClient::shared().post(std::get<HTTPRequest>(std::move(request)), queue,
                            [completion = std::move(completion), configuration](HTTPResponse response) {
                              std::optional<AWSError> error = errorOf(response);
                              if (!error) {
                                completion(std::move(response.body));
                                return;
                              }
                              error->description = withoutCredentials(std::move(error->description),
                                                                      *configuration->credentialsProvider);
                              completion(std::move(*error));
                            });
}

/// Where saves report. Never destroyed: a save may still complete while the process ends.
const std::shared_ptr<DispatchQueue>& completionQueue() {
  static auto* const queue =
      new std::shared_ptr<DispatchQueue>(DispatchQueue::serial("com.yelt.tablemapper"));
  return *queue;
}

}  // namespace

AWSDynamoDBObjectMapper AWSDynamoDBObjectMapper::defaultMapper() {
  return AWSDynamoDBObjectMapper(AWSServiceManager::defaultServiceManager().defaultServiceConfiguration());
}

AWSDynamoDBObjectMapper::AWSDynamoDBObjectMapper(std::shared_ptr<const AWSServiceConfiguration> configuration)
    : configuration_(std::move(configuration)) {}

void AWSDynamoDBObjectMapper::requestPage(
    std::string_view table, const AWSDynamoDBScanExpression& expression,
    const std::shared_ptr<DispatchQueue>& queue,
    std::function<void(AWSResult<AWSDynamoDBPage<JSON>>)> completion) const {
  send(configuration_, dynamodb::SCAN_TARGET, dynamodb::scanBody(table, expression), queue,
       [completion = std::move(completion)](AWSResult<std::string> answer) {
         if (auto* error = std::get_if<AWSError>(&answer))
           completion(std::move(*error));
         else
           completion(dynamodb::readPage(std::get<std::string>(answer)));
       });
}

void AWSDynamoDBObjectMapper::putItem(std::string_view table, const AWSDynamoDBAttributes& item,
                                      std::function<void(const std::optional<AWSError>&)> completion) const {
  send(configuration_, dynamodb::PUT_ITEM_TARGET, dynamodb::putItemBody(table, item), completionQueue(),
       [completion = std::move(completion)](AWSResult<std::string> answer) {
         auto* failure = std::get_if<AWSError>(&answer);
         completion(failure ? std::move(*failure) : dynamodb::readSaved(std::get<std::string>(answer)));
       });
}

}  // namespace geoloom::platform
