#include "tools/model/FlatBuffer.h"

#include <limits>

namespace geoloom::tools {

void FlatFile::fail(std::string_view what) {
  if (fault_.empty()) fault_ = what;
}

std::size_t FlatFile::follow(std::size_t position) {
  return position + read<std::uint32_t>(position);
}

FlatTable FlatFile::root() {
  return {this, follow(0)};
}

/// Where a field stands, 0 when it is absent. A table begins with the signed distance back to its list of
/// field offsets, which begins with its own size in bytes.
std::size_t FlatTable::fieldPosition(std::size_t field, std::size_t size) const {
  if (file_ == nullptr) return 0;
  const auto distance = std::int64_t{file_->read<std::int32_t>(position_)};
  const std::int64_t list = static_cast<std::int64_t>(position_) - distance;
  if (list < 0) file_->fail("an offset points outside the file");
  if (!file_->fault().empty()) return 0;
  const auto listPosition = static_cast<std::size_t>(list);
  const std::size_t entry = 4 + 2 * field;
  if (entry + 2 > file_->read<std::uint16_t>(listPosition)) return 0;
  const auto offset = file_->read<std::uint16_t>(listPosition + entry);
  if (offset == 0) return 0;
  const std::size_t position = position_ + offset;
  if (position + size > file_->bytes_.size()) file_->fail("an offset points outside the file");
  return file_->fault().empty() ? position : 0;
}

std::span<const std::uint8_t> FlatTable::vector(std::size_t field, std::size_t elementSize,
                                                std::size_t limit) const {
  const std::size_t position = fieldPosition(field, 4);
  if (position == 0) return {};
  const std::size_t start = file_->follow(position);
  const std::size_t count = file_->read<std::uint32_t>(start);
  if (!file_->fault().empty()) return {};
  if (count > limit || count * elementSize > file_->bytes_.size() - start - 4) {
    file_->fail("a list is longer than it can be");
    return {};
  }
  return file_->bytes_.subspan(start + 4, count * elementSize);
}

FlatTable FlatTable::table(std::size_t field) const {
  const std::size_t position = fieldPosition(field, 4);
  return position == 0 ? FlatTable() : FlatTable(file_, file_->follow(position));
}

std::vector<FlatTable> FlatTable::tables(std::size_t field, std::size_t limit) const {
  const auto entries = vector(field, 4, limit);
  std::vector<FlatTable> result;
  for (std::size_t i = 0; i < entries.size(); i += 4) {
    const auto position = static_cast<std::size_t>(entries.data() + i - file_->bytes_.data());
    result.push_back(FlatTable(file_, file_->follow(position)));
  }
  return result;
}

std::vector<std::int32_t> FlatTable::integers(std::size_t field, std::size_t limit) const {
  const auto entries = vector(field, 4, limit);
  std::vector<std::int32_t> result(entries.size() / 4);
  if (!entries.empty()) std::memcpy(result.data(), entries.data(), entries.size());
  return result;
}

std::span<const std::uint8_t> FlatTable::bytes(std::size_t field) const {
  return vector(field, 1, std::numeric_limits<std::uint32_t>::max());
}

std::string FlatTable::text(std::size_t field, std::size_t limit) const {
  const auto characters = vector(field, 1, limit);
  return {characters.begin(), characters.end()};
}

}  // namespace geoloom::tools
