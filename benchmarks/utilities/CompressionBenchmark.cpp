// Data::compress and Data::decompress compared with zlib used directly (one call with a buffer that is large
// enough) and with libdeflate. Raw DEFLATE at level 5 throughout; "ratio" is input to output.

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <libdeflate.h>
#include <zlib.h>

#include "geoloom/storage/Data.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr int LEVEL = 5;

/// 8 MiB of words as frequent as those of a language, or of a smooth signal in 32-bit floats.
Bytes corpus(bool words) {
  constexpr std::size_t SIZE = std::size_t{8} << 20;
  std::mt19937 random(1);
  Bytes bytes;
  bytes.reserve(SIZE + 16);
  if (words) {
    std::vector<std::string> vocabulary(4000);
    for (std::string& word : vocabulary) {
      for (std::size_t n = 2 + random() % 9; n > 0; --n)
        word += static_cast<char>('a' + std::min(random() % 26, random() % 26));
      word += ' ';
    }
    std::uniform_real_distribution<double> uniform(0, 1);
    while (bytes.size() < SIZE) {
      const auto rank = static_cast<std::size_t>(std::pow(4000.0, uniform(random))) - 1;
      bytes.insert(bytes.end(), vocabulary[rank].begin(), vocabulary[rank].end());
    }
  } else {
    for (std::size_t i = 0; bytes.size() < SIZE; ++i) {
      const float value = std::round(1000 * std::sin(static_cast<float>(i) * 0.01F)) / 64;
      const auto* start = reinterpret_cast<const std::uint8_t*>(&value);
      bytes.insert(bytes.end(), start, start + sizeof value);
    }
  }
  bytes.resize(SIZE);
  return bytes;
}

Bytes zlibDeflate(Bytes& source) {
  z_stream stream = {};
  deflateInit2(&stream, LEVEL, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
  Bytes result(deflateBound(&stream, source.size()));
  stream.next_in = source.data();
  stream.avail_in = static_cast<uInt>(source.size());
  stream.next_out = result.data();
  stream.avail_out = static_cast<uInt>(result.size());
  deflate(&stream, Z_FINISH);
  result.resize(stream.total_out);
  deflateEnd(&stream);
  return result;
}

Bytes zlibInflate(Bytes& source, std::size_t size) {
  z_stream stream = {};
  inflateInit2(&stream, -15);
  Bytes result(size);
  stream.next_in = source.data();
  stream.avail_in = static_cast<uInt>(source.size());
  stream.next_out = result.data();
  stream.avail_out = static_cast<uInt>(result.size());
  inflate(&stream, Z_FINISH);
  inflateEnd(&stream);
  return result;
}

void report(benchmark::State& state, std::size_t plain, std::size_t encoded) {
  state.SetBytesProcessed(static_cast<std::int64_t>(plain) * state.iterations());
  state.counters["ratio"] = static_cast<double>(plain) / static_cast<double>(encoded);
}

void compressGeoloom(benchmark::State& state) {
  const geoloom::Data data(corpus(state.range(0) == 0));
  std::size_t encoded = 1;
  for (auto _ : state) encoded = data.compress()->count();
  report(state, data.count(), encoded);
}

void compressZlib(benchmark::State& state) {
  Bytes source = corpus(state.range(0) == 0);
  std::size_t encoded = 1;
  for (auto _ : state) encoded = zlibDeflate(source).size();
  report(state, source.size(), encoded);
}

void compressLibdeflate(benchmark::State& state) {
  const Bytes source = corpus(state.range(0) == 0);
  std::size_t encoded = 1;
  for (auto _ : state) {
    libdeflate_compressor* compressor = libdeflate_alloc_compressor(LEVEL);
    Bytes result(libdeflate_deflate_compress_bound(compressor, source.size()));
    encoded =
        libdeflate_deflate_compress(compressor, source.data(), source.size(), result.data(), result.size());
    libdeflate_free_compressor(compressor);
  }
  report(state, source.size(), encoded);
}

void decompressGeoloom(benchmark::State& state) {
  const geoloom::Data plain(corpus(state.range(0) == 0));
  const geoloom::Data encoded = *plain.compress();
  for (auto _ : state) benchmark::DoNotOptimize(encoded.decompress());
  report(state, plain.count(), encoded.count());
}

void decompressZlib(benchmark::State& state) {
  Bytes plain = corpus(state.range(0) == 0);
  Bytes encoded = zlibDeflate(plain);
  for (auto _ : state) benchmark::DoNotOptimize(zlibInflate(encoded, plain.size()));
  report(state, plain.size(), encoded.size());
}

void decompressLibdeflate(benchmark::State& state) {
  Bytes plain = corpus(state.range(0) == 0);
  const Bytes encoded = zlibDeflate(plain);
  for (auto _ : state) {
    libdeflate_decompressor* decompressor = libdeflate_alloc_decompressor();
    Bytes result(plain.size());
    libdeflate_deflate_decompress(decompressor, encoded.data(), encoded.size(), result.data(), result.size(),
                                  nullptr);
    libdeflate_free_decompressor(decompressor);
    benchmark::DoNotOptimize(result.data());
  }
  report(state, plain.size(), encoded.size());
}

// 0: words, 1: floats
BENCHMARK(compressGeoloom)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(compressZlib)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(compressLibdeflate)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(decompressGeoloom)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(decompressZlib)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(decompressLibdeflate)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
