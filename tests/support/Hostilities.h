#pragma once

#include <string>
#include <vector>

#include "tests/support/FakeService.h"

namespace geoloom::test {

/// An answer that no client may make anything of.
struct Hostility {
  std::string name;
  FakeAnswer answer;
};

[[nodiscard]] inline std::vector<Hostility> hostilities() {
  FakeAnswer redirect = FakeAnswer::json("", 308);
  redirect.headers = {{"Location", "http://127.0.0.1:1/"}};
  const FakeAnswer tooLong = FakeAnswer::acting([](const FakeConnection& connection) {
    if (!connection.send("HTTP/1.1 200 OK\r\nContent-Length: 68157440\r\n\r\n")) return;
    const std::string blank(1 << 20, ' ');
    for (int i = 0; i < 65 && connection.send(blank); ++i) {
    }
  });
  return {
      {"closed at once", FakeAnswer::bytes("")},
      {"reset", FakeAnswer::reset()},
      {"reset after headers", FakeAnswer::reset("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n")},
      {"truncated",
       FakeAnswer::bytes("HTTP/1.1 200 OK\r\nContent-Length: 90\r\n\r\n{\"Items\":[],\"uuid\":\"M1\"}")},
      {"empty", FakeAnswer::json("")},
      {"no content", FakeAnswer::bytes("HTTP/1.1 204 No Content\r\nConnection: close\r\n\r\n")},
      {"HTML 502", FakeAnswer::json("<html>Bad Gateway</html>", 502)},
      {"100,000 deep", FakeAnswer::json(std::string(100'000, '[') + std::string(100'000, ']'))},
      {"not UTF-8", FakeAnswer::json("{\"Items\":[],\"uuid\":\"\xff\"}")},
      {"1e400", FakeAnswer::json("{\"Items\":[],\"uuid\":1e400}")},
      {"two values", FakeAnswer::json("{\"Items\":[]}{}")},
      {"65 MiB", tooLong},
      {"not HTTP", FakeAnswer::bytes("+OK POP3 ready\r\n")},
      {"redirect", redirect},
  };
}

}  // namespace geoloom::test
