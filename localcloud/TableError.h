#pragma once

#include <stdexcept>
#include <string>

namespace geoloom::localcloud {

/// A rejected table operation, answered with status 400. `type` is the full "__type".
class TableError : public std::runtime_error {
 public:
  TableError(std::string type, const std::string& message)
      : std::runtime_error(message), type_(std::move(type)) {}
  [[nodiscard]] const std::string& type() const { return type_; }

  static TableError validation(const std::string& message) {
    return {"com.amazon.coral.validate#ValidationException", message};
  }
  static TableError serialization(const std::string& message) {
    return {"com.amazon.coral.service#SerializationException", message};
  }
  static TableError unknownOperation(const std::string& message) {
    return {"com.amazon.coral.service#UnknownOperationException", message};
  }
  static TableError resourceNotFound(const std::string& message) {
    return {"com.amazonaws.dynamodb.v20120810#ResourceNotFoundException", message};
  }
  static TableError resourceInUse(const std::string& message) {
    return {"com.amazonaws.dynamodb.v20120810#ResourceInUseException", message};
  }

 private:
  std::string type_;
};

}  // namespace geoloom::localcloud
