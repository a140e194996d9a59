#pragma once

#include <bit>
#include <cmath>
#include <list>
#include <random>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "tests/tools/model/FlatWriter.h"

/// A single-shot detector of a few hundred weights on a 19 x 19 picture, as a TensorFlow Lite file. It has
/// every kind of operator that the compiler reads and the kit's six grids, so that layouts can be checked to
/// the last element.
namespace geoloom::test {

class TinyDetector {
 public:
  static const std::vector<std::string>& labels() {
    static const std::vector<std::string> names = {"???", "Mug", "Cat", "Boot", "Coffee cup", "Person"};
    return names;
  }

  explicit TinyDetector(unsigned seed) : random_(seed) {
    input_ = tensor({1, 19, 19, 3}, 0);
    int features = convolution(input_, {19, 3}, {19, 4}, 3, 1, 3);
    features = add(features, depthwise(features, 19, 4, 1), {1, 19, 19, 4});
    const std::int32_t grids[] = {19, 10, 5, 3, 2, 1};
    std::vector<std::int32_t> boxes;
    std::vector<std::int32_t> scores;
    const auto columns = static_cast<std::int32_t>(labels().size());
    for (std::size_t layer = 0; layer < 6; ++layer) {
      const std::int32_t grid = grids[layer];
      const std::int32_t channels = layer == 0 ? 4 : 5;
      if (layer > 0)
        features = convolution(features, {grids[layer - 1], layer == 1 ? 4 : 5}, {grid, 5}, 3, 2, 1);
      const std::int32_t perCell = layer == 0 ? 3 : 6;
      const std::int32_t rows = grid * grid * perCell;
      const int box = convolution(features, {grid, channels}, {grid, 4 * perCell}, 1, 1, 0);
      boxes.push_back(reshape(box, {1, rows, 1, 4}));
      const int score = convolution(features, {grid, channels}, {grid, columns * perCell}, 1, 1, 0);
      scores.push_back(reshape(score, {1, rows, columns}));
    }
    const int joined = concatenate(boxes, {1, 1917, 1, 4});
    outputs_ = {reshape(joined, {1, 1917, 4}), concatenate(scores, {1, 1917, columns})};
  }

  /// What the tests break.
  std::vector<FlatTableNode> tensors;
  std::vector<FlatTableNode> operators;
  std::vector<FlatTableNode> buffers = {FlatTableNode{}};
  std::vector<std::int32_t> codes = {3, 4, 0, 22, 2, 6};

  [[nodiscard]] std::string file() const {
    const std::vector<FlatTableNode> graph = {
        {{{0, tensors}, {1, std::vector<std::int32_t>{input_}}, {2, outputs_}, {3, operators}}}};
    std::vector<FlatTableNode> codeTables;
    for (const std::int32_t code : codes)
      codeTables.push_back({{{0, static_cast<std::uint8_t>(code)}, {3, code}}});
    return FlatWriter::file({{{0, 3}, {1, codeTables}, {2, graph}, {4, buffers}}}, "TFL3");
  }

 private:
  struct Side {
    std::int32_t grid;
    std::int32_t channels;
  };

  int tensor(std::vector<std::int32_t> shape, std::uint8_t type, const std::string& data = {}) {
    std::int32_t buffer = 0;
    if (!data.empty()) {
      buffer = static_cast<std::int32_t>(buffers.size());
      buffers.push_back({{{0, FlatBytes{data}}}});
    }
    tensors.push_back({{{0, std::move(shape)},
                        {1, type},
                        {2, buffer},
                        {3, FlatBytes{fmt::format("t{}", tensors.size())}}}});
    return static_cast<int>(tensors.size()) - 1;
  }

  void run(std::int32_t code, std::vector<std::int32_t> inputs, int output, std::uint8_t optionsType,
           std::map<std::size_t, FlatValue> options) {
    options_.push_back({std::move(options)});
    operators.push_back({{{0, code},
                          {1, std::move(inputs)},
                          {2, std::vector<std::int32_t>{output}},
                          {3, optionsType},
                          {4, &options_.back()}}});
  }

  /// Random multiples of 1/64 in half precision, widened by an operator, as in the published files.
  int weights(const std::vector<std::int32_t>& shape, std::int32_t limit) {
    std::size_t count = 1;
    for (const std::int32_t size : shape) count *= static_cast<std::size_t>(size);
    std::string data;
    for (std::size_t i = 0; i < count; ++i) {
      const float value =
          static_cast<float>(std::uniform_int_distribution<int>(-limit, limit)(random_)) / 64.0F;
      const auto bits = std::bit_cast<std::uint32_t>(value);
      const std::uint32_t half =
          value == 0 ? 0
                     : (bits >> 16 & 0x8000U) | (((bits >> 23 & 0xffU) - 112U) << 10) | (bits >> 13 & 0x3ffU);
      data.push_back(static_cast<char>(half & 0xffU));
      data.push_back(static_cast<char>(half >> 8));
    }
    const int narrow = tensor(shape, 1, data);
    const int wide = tensor(shape, 0);
    run(5, {narrow}, wide, 0, {});
    return wide;
  }

  int convolution(int from, Side in, Side out, std::int32_t kernel, std::int32_t stride,
                  std::uint8_t activation) {
    const int filter = weights({out.channels, kernel, kernel, in.channels}, 40);
    const int bias = weights({out.channels}, 20);
    const int result = tensor({1, out.grid, out.grid, out.channels}, 0);
    run(0, {from, filter, bias}, result, 1,
        {{0, std::uint8_t{0}}, {1, stride}, {2, stride}, {3, activation}, {4, 1}, {5, 1}});
    return result;
  }

  int depthwise(int from, std::int32_t grid, std::int32_t channels, std::uint8_t activation) {
    const int filter = weights({1, 3, 3, channels}, 40);
    const int bias = weights({channels}, 20);
    const int result = tensor({1, grid, grid, channels}, 0);
    run(1, {from, filter, bias}, result, 2, {{0, std::uint8_t{0}}, {1, 1}, {2, 1}, {3, 1}, {4, activation}});
    return result;
  }

  int add(int a, int b, const std::vector<std::int32_t>& shape) {
    const int result = tensor(shape, 0);
    run(2, {a, b}, result, 11, {{0, std::uint8_t{0}}});
    return result;
  }

  int reshape(int from, const std::vector<std::int32_t>& shape) {
    const int result = tensor(shape, 0);
    run(3, {from}, result, 17, {{0, shape}});
    return result;
  }

  int concatenate(const std::vector<std::int32_t>& from, const std::vector<std::int32_t>& shape) {
    const int result = tensor(shape, 0);
    run(4, from, result, 10, {{0, 1}, {1, std::uint8_t{0}}});
    return result;
  }

  std::mt19937 random_;
  std::list<FlatTableNode> options_;
  std::int32_t input_ = 0;
  std::vector<std::int32_t> outputs_;
};

}  // namespace geoloom::test
