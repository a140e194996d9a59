#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Reading of FlatBuffers files (tables of optional fields, found through offsets) that trusts nothing: every
/// offset is held against the file before it is followed. The first fault sticks; from then on everything
/// reads as absent, so that a reader asks for the fault once, at its end.
namespace geoloom::tools {

class FlatFile;

/// One table; a default-constructed one has no fields.
class FlatTable {
 public:
  FlatTable() = default;

  template <class Number>
  [[nodiscard]] Number number(std::size_t field, Number otherwise) const;
  [[nodiscard]] FlatTable table(std::size_t field) const;
  /// A vector longer than `limit` is a fault, as tables may share one vector and so make a small file
  /// endless.
  [[nodiscard]] std::vector<FlatTable> tables(std::size_t field, std::size_t limit) const;
  [[nodiscard]] std::vector<std::int32_t> integers(std::size_t field, std::size_t limit) const;
  /// In place.
  [[nodiscard]] std::span<const std::uint8_t> bytes(std::size_t field) const;
  [[nodiscard]] std::string text(std::size_t field, std::size_t limit) const;

 private:
  friend class FlatFile;
  FlatTable(FlatFile* file, std::size_t position) : file_(file), position_(position) {}
  [[nodiscard]] std::size_t fieldPosition(std::size_t field, std::size_t size) const;
  [[nodiscard]] std::span<const std::uint8_t> vector(std::size_t field, std::size_t elementSize,
                                                     std::size_t limit) const;

  FlatFile* file_ = nullptr;
  std::size_t position_ = 0;
};

class FlatFile {
 public:
  explicit FlatFile(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
  FlatFile(const FlatFile&) = delete;
  FlatFile& operator=(const FlatFile&) = delete;

  [[nodiscard]] FlatTable root();
  /// Empty while nothing is wrong.
  [[nodiscard]] const std::string& fault() const { return fault_; }

 private:
  friend class FlatTable;
  template <class Number>
  Number read(std::size_t position);
  std::size_t follow(std::size_t position);
  void fail(std::string_view what);

  std::span<const std::uint8_t> bytes_;
  std::string fault_;
};

template <class Number>
Number FlatFile::read(std::size_t position) {
  Number number{};
  if (!fault_.empty()) return number;
  if (position > bytes_.size() || bytes_.size() - position < sizeof(Number)) {
    fail("an offset points outside the file");
    return number;
  }
  std::memcpy(&number, bytes_.data() + position, sizeof(Number));
  return number;
}

template <class Number>
Number FlatTable::number(std::size_t field, Number otherwise) const {
  const std::size_t position = fieldPosition(field, sizeof(Number));
  return position == 0 ? otherwise : file_->read<Number>(position);
}

}  // namespace geoloom::tools
