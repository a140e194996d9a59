#include "localcloud/Text.h"

#include <array>
#include <stdexcept>

#include <fmt/format.h>
#include <openssl/rand.h>

#include "geoloom/base/Hexadecimal.h"

namespace geoloom::localcloud {

Reading readJSON(std::string_view text) {
  if (text.empty()) return {.refusal = "The body is empty; it must be a JSON object"};
  try {
    // The parser does not recurse, but code that visits the value does.
    return {.value = Value::parse(text, [](int depth, Value::parse_event_t, const Value&) {
              if (depth > MAXIMUM_NESTING) throw std::length_error("nested too deeply");
              return true;
            })};
  } catch (const Value::parse_error& error) {
    if (error.byte > text.size()) return {.refusal = "The body is not JSON: it ends too early"};
    return {.refusal = fmt::format("The body is not JSON: unexpected byte {}", error.byte)};
  } catch (const Value::exception&) {
    return {.refusal = "The body holds a number that is out of range"};
  } catch (const std::length_error&) {
    return {.refusal = fmt::format("The body is nested more than {} deep", MAXIMUM_NESTING)};
  }
}

std::string write(const Body& body) {
  return body.dump(-1, ' ', false, Body::error_handler_t::replace);
}
std::string write(const Value& value) {
  return value.dump(-1, ' ', false, Value::error_handler_t::replace);
}

std::string randomUUID() {
  std::array<unsigned char, 16> bytes{};
  if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1)
    throw std::runtime_error("no random numbers");
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0FU) | 0x40U);
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3FU) | 0x80U);
  std::string text = base::hexadecimal(bytes);
  for (const std::size_t at : {8U, 13U, 18U, 23U}) text.insert(at, 1, '-');
  return text;
}

}  // namespace geoloom::localcloud
