#include "geoloom/platform/aws/AWSDynamoDBObjectMapper.h"

#include "geoloom/platform/aws/AWSDynamoDBWire.h"
#include "geoloom/platform/aws/AWSRequest.h"

namespace geoloom::platform {

namespace {

using Configuration = std::shared_ptr<const AWSServiceConfiguration>;

base::Result<HTTPRequest> requestOf(const Configuration& configuration, std::string_view target,
                                    std::string body) {
  if (!configuration) return base::Failure{"No default service configuration is set"};
  if (configuration->endpoints.tables.empty()) return base::Failure{"No address of the table service is set"};
  return awsRequest(*configuration, configuration->endpoints.tables, dynamodb::SERVICE, target,
                    std::move(body));
}

/// The body of a successful answer.
base::Result<std::string> bodyOf(const base::Result<HTTPResponse>& answer,
                                 const Configuration& configuration) {
  if (!answer) return answer.failure();
  noteServiceTime(*answer);
  const base::Result<void> outcome = dynamodb::readStatus(answer->status, answer->body);
  if (outcome) return answer->body;
  return base::Failure{withoutCredentials(outcome.failure().message, *configuration->credentialsProvider)};
}

/// Runs the completions of saves. Never destroyed: a save may still complete while the process ends.
const std::shared_ptr<DispatchQueue>& completionQueue() {
  static auto* const queue =
      new std::shared_ptr<DispatchQueue>(DispatchQueue::serial("com.yelt.tablemapper"));
  return *queue;
}

}  // namespace

AWSDynamoDBObjectMapper AWSDynamoDBObjectMapper::defaultMapper() {
  return AWSDynamoDBObjectMapper(AWSServiceManager::defaultServiceManager().defaultServiceConfiguration());
}

AWSDynamoDBObjectMapper::AWSDynamoDBObjectMapper(Configuration configuration)
    : configuration_(std::move(configuration)) {}

base::Result<AWSDynamoDBPage<JSON>> AWSDynamoDBObjectMapper::requestPage(
    std::string_view table, const AWSDynamoDBScanExpression& expression) const {
  base::Result<HTTPRequest> request =
      requestOf(configuration_, dynamodb::SCAN_TARGET, dynamodb::scanBody(table, expression));
  if (!request) return request.failure();
  request->mayBeSentTwice = true;
  const base::Result<std::string> answer =
      bodyOf(HTTPClient::shared().postAndWait(std::move(*request)), configuration_);
  if (!answer) return answer.failure();
  return dynamodb::readPage(*answer);
}

void AWSDynamoDBObjectMapper::putItem(std::string_view table, const AWSDynamoDBAttributes& item,
                                      std::function<void(const base::Result<void>&)> completion) const {
  base::Result<HTTPRequest> request =
      requestOf(configuration_, dynamodb::PUT_ITEM_TARGET, dynamodb::putItemBody(table, item));
  if (!request) {
    completionQueue()->async(
        [completion = std::move(completion), failure = request.failure()] { completion(failure); });
    return;
  }
  HTTPClient::shared().post(std::move(*request), completionQueue(),
                            [configuration = configuration_,
                             completion = std::move(completion)](const base::Result<HTTPResponse>& answer) {
                              const base::Result<std::string> saved = bodyOf(answer, configuration);
                              completion(saved ? dynamodb::readSaved(*saved) : saved.failure());
                            });
}

}  // namespace geoloom::platform
