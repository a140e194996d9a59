#include "geoloom/platform/imaging/Scaler.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include <libyuv.h>
#include <zimg.h>

namespace geoloom::platform {

namespace {

constexpr std::size_t ALIGNMENT = 64;
constexpr std::size_t LARGEST_BUFFERS_KEPT = std::size_t{16} << 20;

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
struct FreeGraph {
  void operator()(zimg_filter_graph* graph) const { zimg_filter_graph_free(graph); }
};

using AlignedMemory = std::unique_ptr<std::uint8_t, Free>;

std::size_t aligned(std::size_t bytes) {
  return (bytes + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
}

AlignedMemory allocateAligned(std::size_t bytes) {
  auto* const memory = static_cast<std::uint8_t*>(std::aligned_alloc(ALIGNMENT, aligned(bytes)));
  if (memory == nullptr) throw std::bad_alloc();
  return AlignedMemory(memory);
}

struct Sizes {
  std::size_t sourceWidth = 0;
  std::size_t sourceHeight = 0;
  SourceRegion region;
  std::size_t channels = 0;
  std::size_t targetWidth = 0;
  std::size_t targetHeight = 0;
  friend bool operator==(const Sizes&, const Sizes&) = default;
};

zimg_image_format format(std::size_t width, std::size_t height, std::size_t channels) {
  zimg_image_format result;
  zimg_image_format_default(&result, ZIMG_API_VERSION);
  result.width = static_cast<unsigned>(width);
  result.height = static_cast<unsigned>(height);
  result.pixel_type = ZIMG_PIXEL_BYTE;
  result.pixel_range = ZIMG_RANGE_FULL;
  if (channels == 4) {
    result.color_family = ZIMG_COLOR_RGB;
    result.matrix_coefficients = ZIMG_MATRIX_RGB;
    result.alpha = ZIMG_ALPHA_PREMULTIPLIED;  // keeps all four channels independent
  }
  return result;
}

zimg_filter_graph* buildGraph(const Sizes& sizes) {
  zimg_image_format source = format(sizes.sourceWidth, sizes.sourceHeight, sizes.channels);
  source.active_region = {sizes.region.left, sizes.region.top, sizes.region.width, sizes.region.height};
  const zimg_image_format target = format(sizes.targetWidth, sizes.targetHeight, sizes.channels);
  zimg_graph_builder_params parameters;
  zimg_graph_builder_params_default(&parameters, ZIMG_API_VERSION);
  parameters.resample_filter = ZIMG_RESIZE_LANCZOS;
  parameters.filter_param_a = 3;
  return zimg_filter_graph_build(&source, &target, &parameters);
}

/// Rows of separate channels, the input or output of a graph in the pieces that it requests.
struct PlaneRows {
  AlignedMemory memory;
  std::size_t rowBytes = 0;
  std::size_t planeBytes = 0;
  unsigned mask = 0;

  void allocate(std::size_t width, std::size_t height, std::size_t channels, unsigned rowsNeeded) {
    mask = rowsNeeded == ZIMG_BUFFER_MAX ? ZIMG_BUFFER_MAX : zimg_select_buffer_mask(rowsNeeded);
    const std::size_t rows = mask == ZIMG_BUFFER_MAX ? height : std::size_t{mask} + 1;
    rowBytes = aligned(width);
    planeBytes = rowBytes * rows;
    memory = allocateAligned(planeBytes * channels);
  }
  [[nodiscard]] std::uint8_t* row(std::size_t channel, unsigned y) const {
    return memory.get() + channel * planeBytes + std::size_t{y & mask} * rowBytes;
  }
};

/// The prepared filter of one pair of sizes.
struct Graph {
  Sizes sizes;
  std::unique_ptr<zimg_filter_graph, FreeGraph> filter;
  PlaneRows in;
  PlaneRows out;
  AlignedMemory scratch;
  std::size_t bytes = 0;  ///< of all buffers
};

/// Null if zimg rejects the sizes.
std::unique_ptr<Graph> prepare(const Sizes& sizes) {
  auto graph = std::make_unique<Graph>();
  graph->sizes = sizes;
  graph->filter.reset(buildGraph(sizes));
  if (!graph->filter) return nullptr;
  unsigned rowsIn = 0;
  unsigned rowsOut = 0;
  zimg_filter_graph_get_input_buffering(graph->filter.get(), &rowsIn);
  zimg_filter_graph_get_output_buffering(graph->filter.get(), &rowsOut);
  zimg_filter_graph_get_tmp_size(graph->filter.get(), &graph->bytes);
  graph->scratch = allocateAligned(std::max(graph->bytes, ALIGNMENT));
  graph->in.allocate(sizes.sourceWidth, sizes.sourceHeight, sizes.channels, rowsIn);
  graph->out.allocate(sizes.targetWidth, sizes.targetHeight, sizes.channels, rowsOut);
  graph->bytes += (graph->in.planeBytes + graph->out.planeBytes) * sizes.channels;
  return graph;
}

/// The graph of this thread's last call, kept for the next call with the same sizes.
thread_local std::unique_ptr<Graph> kept;

struct Pass {
  const PixelSource* source;
  const PixelTarget* target;
  const Graph* graph;
};

int unpackRow(void* user, unsigned y, unsigned left, unsigned right) {
  const Pass& pass = *static_cast<const Pass*>(user);
  const PlaneRows& planes = pass.graph->in;
  const std::size_t channels = pass.graph->sizes.channels;
  const std::uint8_t* row = pass.source->data + y * pass.source->rowBytes + left * channels;
  if (channels == 1) {
    std::memcpy(planes.row(0, y) + left, row, right - left);
  } else {
    libyuv::SplitARGBPlane(row, 0, planes.row(0, y) + left, 0, planes.row(1, y) + left, 0,
                           planes.row(2, y) + left, 0, planes.row(3, y) + left, 0,
                           static_cast<int>(right - left), 1);
  }
  return 0;
}

int packRow(void* user, unsigned y, unsigned left, unsigned right) {
  const Pass& pass = *static_cast<const Pass*>(user);
  const PlaneRows& planes = pass.graph->out;
  const std::size_t channels = pass.graph->sizes.channels;
  std::uint8_t* row = pass.target->data + y * pass.target->rowBytes + left * channels;
  if (channels == 1) {
    std::memcpy(row, planes.row(0, y) + left, right - left);
  } else {
    libyuv::MergeARGBPlane(planes.row(0, y) + left, 0, planes.row(1, y) + left, 0, planes.row(2, y) + left, 0,
                           planes.row(3, y) + left, 0, row, 0, static_cast<int>(right - left), 1);
  }
  return 0;
}

bool run(const Graph& graph, const PixelSource& source, const PixelTarget& target) {
  zimg_image_buffer_const in = {};
  zimg_image_buffer out = {};
  in.version = ZIMG_API_VERSION;
  out.version = ZIMG_API_VERSION;
  for (std::size_t c = 0; c < graph.sizes.channels; ++c) {
    in.plane[c] = {graph.in.row(c, 0), static_cast<std::ptrdiff_t>(graph.in.rowBytes), graph.in.mask};
    out.plane[c] = {graph.out.row(c, 0), static_cast<std::ptrdiff_t>(graph.out.rowBytes), graph.out.mask};
  }
  Pass pass{&source, &target, &graph};
  const auto status = zimg_filter_graph_process(graph.filter.get(), &in, &out, graph.scratch.get(), unpackRow,
                                                &pass, packRow, &pass);
  return status == ZIMG_ERROR_SUCCESS;
}

}  // namespace

bool scale(const PixelSource& source, const SourceRegion& region, std::size_t channels,
           const PixelTarget& target) {
  constexpr std::size_t LARGEST_SIDE = std::numeric_limits<std::int32_t>::max() / 4;
  if (std::max({source.width, source.height, target.width, target.height}) > LARGEST_SIDE) return false;
  const Sizes sizes{source.width, source.height, region, channels, target.width, target.height};
  if (!kept || kept->sizes != sizes) kept = prepare(sizes);
  if (!kept) return false;
  const bool done = run(*kept, source, target);
  if (kept->bytes > LARGEST_BUFFERS_KEPT) kept.reset();
  return done;
}

}  // namespace geoloom::platform
