#include "geoloom/platform/aws/AWSDynamoDBObjectMapper.h"

#include "geoloom/platform/aws/AWSDynamoDBWire.h"
#include "geoloom/platform/aws/AWSRequest.h"

namespace geoloom::platform {

namespace {

AWSError unusable(std::string description) {
  return {AWSError::Kind::rejected, std::move(description)};
}

std::optional<AWSError> errorOf(const HTTPResponse& response) {
  if (response.refused) return unusable(response.error);
  if (!response.error.empty()) return AWSError{AWSError::Kind::transport, response.error};
  return dynamodb::readError(response.status, response.body);
}

/// Sends a request to the table service. `completion` runs once on a global queue with the body of a success.
void send(const std::shared_ptr<const AWSServiceConfiguration>& configuration, std::string_view target,
          std::string body, std::function<void(AWSResult<std::string>)> completion) {
  std::string refusal;
  if (!configuration)
    refusal = "No default service configuration is set";
  else if (configuration->endpoints.tables.empty())
    refusal = "No address of the table service is set";
  if (!refusal.empty()) {
    DispatchQueue::global()->async(
        [completion = std::move(completion), refusal] { completion(unusable(refusal)); });
    return;
  }
  HTTPRequest request =
      awsRequest(*configuration, configuration->endpoints.tables, dynamodb::SERVICE, target);
  request.body = std::move(body);
  HTTPClient::shared().post(std::move(request), DispatchQueue::global(),
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
DispatchQueue& completionQueue() {
  static auto* const queue =
      new std::shared_ptr<DispatchQueue>(DispatchQueue::serial("com.yelt.tablemapper"));
  return **queue;
}

}  // namespace

AWSDynamoDBObjectMapper AWSDynamoDBObjectMapper::defaultMapper() {
  return AWSDynamoDBObjectMapper(AWSServiceManager::defaultServiceManager().defaultServiceConfiguration());
}

AWSDynamoDBObjectMapper::AWSDynamoDBObjectMapper(std::shared_ptr<const AWSServiceConfiguration> configuration)
    : configuration_(std::move(configuration)) {}

void AWSDynamoDBObjectMapper::requestPage(
    std::string_view table, const AWSDynamoDBScanExpression& expression,
    std::function<void(AWSResult<AWSDynamoDBPage<JSON>>)> completion) const {
  send(configuration_, dynamodb::SCAN_TARGET, dynamodb::scanBody(table, expression),
       [completion = std::move(completion)](AWSResult<std::string> answer) {
         if (auto* error = std::get_if<AWSError>(&answer))
           completion(std::move(*error));
         else
           completion(dynamodb::readPage(std::get<std::string>(answer)));
       });
}

void AWSDynamoDBObjectMapper::putItem(std::string_view table, const AWSDynamoDBAttributes& item,
                                      std::function<void(const std::optional<AWSError>&)> completion) const {
  send(configuration_, dynamodb::PUT_ITEM_TARGET, dynamodb::putItemBody(table, item),
       [completion = std::move(completion)](AWSResult<std::string> answer) {
         auto* failure = std::get_if<AWSError>(&answer);
         std::optional<AWSError> error =
             failure ? std::move(*failure) : dynamodb::readSaved(std::get<std::string>(answer));
         completionQueue().async([completion, error = std::move(error)] { completion(error); });
       });
}

}  // namespace geoloom::platform
