#include "localcloud/AttributeValue.h"

#include <algorithm>
#include <vector>

#include <fmt/format.h>
#include <openssl/evp.h>

#include "localcloud/DecimalNumber.h"
#include "localcloud/TableError.h"

namespace geoloom::localcloud::attributes {

namespace {

const std::string& text(const Value& value) {
  if (!value.is_string()) {
    throw TableError::serialization(fmt::format("{} can not be converted to a String", value.type_name()));
  }
  return value.get_ref<const std::string&>();
}

std::string decodedBinary(const std::string& base64) {
  std::vector<unsigned char> bytes(base64.size() / 4 * 3 + 1);
  const int size = base64.size() % 4 != 0
                       ? -1
                       : EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(base64.data()),
                                         static_cast<int>(base64.size()));
  if (size < 0) throw TableError::serialization("Invalid Base64 in a binary attribute value");
  const auto padding =
      std::count(base64.end() - std::min<std::ptrdiff_t>(2, std::ssize(base64)), base64.end(), '=');
  return {bytes.begin(), bytes.begin() + size - padding};
}

std::string canonicalScalar(char type, const Value& value) {
  if (type == 'N') return DecimalNumber(text(value)).canonical();
  if (type == 'B') decodedBinary(text(value));
  return text(value);
}

void canonicalizeSet(char type, Value& set) {
  if (!set.is_array()) throw TableError::serialization("A set must be an array");
  if (set.empty()) {
    throw TableError::validation("One or more parameter values were invalid: A set may not be empty");
  }
  std::vector<std::string> members;
  for (const Value& member : set) members.push_back(canonicalScalar(type, member));
  std::sort(members.begin(), members.end());
  if (std::adjacent_find(members.begin(), members.end()) != members.end()) {
    throw TableError::validation(
        "One or more parameter values were invalid: Input collection contains duplicates");
  }
  set = members;
}

const Value& keyAttribute(const KeyAttribute& key, const Value& attributes) {
  const auto found = attributes.find(key.name);
  if (found == attributes.end()) {
    throw TableError::validation(
        fmt::format("One or more parameter values were invalid: Missing the key {} in the item", key.name));
  }
  const std::string& type = found->begin().key();
  if (type != std::string(1, key.type)) {
    throw TableError::validation(fmt::format(
        "One or more parameter values were invalid: Type mismatch for key {} expected: {} actual: {}",
        key.name, key.type, type));
  }
  return found->begin().value();
}

/// Limit of the real service.
std::string keyBytes(const KeyAttribute& key, const Value& attributes, std::string_view kind,
                     std::size_t most) {
  const std::string& value = text(keyAttribute(key, attributes));
  if (value.empty()) {
    throw TableError::validation(fmt::format(
        "One or more parameter values are not valid. The AttributeValue for a key attribute cannot contain "
        "an empty string value. Key: {}",
        key.name));
  }
  if (key.type == 'N') return DecimalNumber(value).orderKey();
  std::string bytes = key.type == 'B' ? decodedBinary(value) : value;
  if (bytes.size() > most) {
    throw TableError::validation(fmt::format(
        "One or more parameter values were invalid: Size of {} has exceeded the maximum size limit "
        "of {} bytes",
        kind, most));
  }
  return bytes;
}

}  // namespace

void canonicalize(Value& value) {
  if (!value.is_object()) throw TableError::serialization("An attribute value must be an object");
  if (value.size() != 1) {
    throw TableError::validation(
        value.empty()
            ? "Supplied AttributeValue is empty, must contain exactly one of the supported datatypes"
            : "Supplied AttributeValue has more than one datatypes set, must contain exactly one of the "
              "supported datatypes");
  }
  const std::string type = value.begin().key();
  Value& content = value.begin().value();
  if (type == "S" || type == "N" || type == "B") {
    content = canonicalScalar(type.front(), content);
  } else if (type == "SS" || type == "NS" || type == "BS") {
    canonicalizeSet(type.front(), content);
  } else if (type == "BOOL") {
    if (!content.is_boolean()) throw TableError::serialization("A BOOL must be true or false");
  } else if (type == "NULL") {
    if (content != true) {
      throw TableError::validation(
          "One or more parameter values were invalid: Null attribute value types must have "
          "the value of true");
    }
  } else if (type == "L") {
    if (!content.is_array()) throw TableError::serialization("A list must be an array");
    for (Value& element : content) canonicalize(element);
  } else if (type == "M") {
    canonicalizeAll(content, "M");
  } else {
    throw TableError::validation(
        "Supplied AttributeValue is empty, must contain exactly one of the supported datatypes");
  }
}

void canonicalizeAll(Value& attributes, const std::string& parameter) {
  if (!attributes.is_object()) throw TableError::serialization(parameter + " must be an object");
  for (Value& value : attributes) canonicalize(value);
}

ItemKey keyOfItem(const TableRecord& table, const Value& attributes) {
  return {keyBytes(table.hash, attributes, "hashkey", 2048),
          table.range ? keyBytes(*table.range, attributes, "rangekey", 1024) : std::string()};
}

ItemKey keyOfRequest(const TableRecord& table, const Value& attributes) {
  if (attributes.size() != (table.range ? 2U : 1U) || !attributes.contains(table.hash.name) ||
      (table.range && !attributes.contains(table.range->name))) {
    throw TableError::validation("The provided key element does not match the schema");
  }
  return keyOfItem(table, attributes);
}

std::optional<std::string> hashKey(const TableRecord& table, const Value& value) {
  try {
    return keyBytes(table.hash, {{table.hash.name, value}}, "hashkey", 2048);
  } catch (const TableError&) {
    return std::nullopt;
  }
}

Body keyAttributes(const TableRecord& table, const Value& attributes) {
  Body key = {{table.hash.name, attributes.at(table.hash.name)}};
  if (table.range) key[table.range->name] = attributes.at(table.range->name);
  return key;
}

}  // namespace geoloom::localcloud::attributes
