#pragma once

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <variant>
#include <vector>

/// Writes FlatBuffers files from a tree of tables, for tests that need a network of their own.
namespace geoloom::test {

struct FlatTableNode;
struct FlatBytes {
  std::string bytes;
};
using FlatValue = std::variant<std::uint8_t, std::int32_t, FlatBytes, std::vector<std::int32_t>,
                               std::vector<FlatTableNode>, const FlatTableNode*>;
struct FlatTableNode {
  std::map<std::size_t, FlatValue> fields;
};

class FlatWriter {
 public:
  static std::string file(const FlatTableNode& root, const std::string& mark) {
    FlatWriter writer;
    writer.bytes_ = std::string(4, '\0') + mark;
    writer.patch(0, writer.table(root));
    return writer.bytes_;
  }

 private:
  template <class Number>
  void append(Number value) {
    char raw[sizeof value];
    std::memcpy(raw, &value, sizeof value);
    bytes_.append(raw, sizeof raw);
  }
  void align() { bytes_.resize((bytes_.size() + 3) / 4 * 4, '\0'); }
  void patch(std::size_t place, std::size_t target) {
    const auto distance = static_cast<std::uint32_t>(target - place);
    std::memcpy(bytes_.data() + place, &distance, sizeof distance);
  }

  std::size_t table(const FlatTableNode& node) {
    align();
    const std::size_t list = bytes_.size();
    const std::size_t slots = node.fields.empty() ? 0 : node.fields.rbegin()->first + 1;
    append(static_cast<std::uint16_t>(4 + 2 * slots));
    append(static_cast<std::uint16_t>(4 + 4 * node.fields.size()));
    std::uint16_t offset = 4;
    for (std::size_t slot = 0; slot < slots; ++slot) {
      const bool present = node.fields.count(slot) != 0;
      append(present ? offset : std::uint16_t{0});
      if (present) offset = static_cast<std::uint16_t>(offset + 4);
    }
    align();
    const std::size_t start = bytes_.size();
    append(static_cast<std::int32_t>(start - list));
    for (const auto& field : node.fields) {
      const auto* number = std::get_if<std::int32_t>(&field.second);
      const auto* byte = std::get_if<std::uint8_t>(&field.second);
      append(number != nullptr ? *number : byte != nullptr ? std::int32_t{*byte} : 0);
    }
    std::size_t place = start + 4;
    for (const auto& field : node.fields) {
      const FlatValue& value = field.second;
      if (value.index() > 1) patch(place, child(value));
      place += 4;
    }
    return start;
  }

  std::size_t child(const FlatValue& value) {
    if (const auto* one = std::get_if<const FlatTableNode*>(&value)) return table(**one);
    align();
    const std::size_t start = bytes_.size();
    if (const auto* raw = std::get_if<FlatBytes>(&value)) {
      append(static_cast<std::uint32_t>(raw->bytes.size()));
      bytes_ += raw->bytes;
    } else if (const auto* numbers = std::get_if<std::vector<std::int32_t>>(&value)) {
      append(static_cast<std::uint32_t>(numbers->size()));
      for (const std::int32_t number : *numbers) append(number);
    } else {
      const auto& tables = std::get<std::vector<FlatTableNode>>(value);
      append(static_cast<std::uint32_t>(tables.size()));
      bytes_.append(4 * tables.size(), '\0');
      for (std::size_t i = 0; i < tables.size(); ++i) {
        const std::size_t target = table(tables[i]);
        patch(start + 4 + 4 * i, target);
      }
    }
    return start;
  }

  std::string bytes_;
};

}  // namespace geoloom::test
