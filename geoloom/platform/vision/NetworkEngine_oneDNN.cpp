#include <algorithm>
#include <cstring>
#include <mutex>
#include <set>
#include <unordered_map>
#include <vector>

#include <oneapi/dnnl/dnnl.hpp>
#include <sys/mman.h>

#include "geoloom/platform/foundation/NSLock.h"
#include "geoloom/platform/vision/NetworkEngine.h"

// Of OpenMP, in which oneDNN runs its loops. The number belongs to the calling thread.
extern "C" {
int omp_get_max_threads();
void omp_set_num_threads(int count);
}

namespace geoloom::platform {

namespace {

using dnnl::memory;
using Layer = NetworkPlan::Layer;
using Tensor = NetworkPlan::Tensor;

constexpr std::size_t ALIGNMENT = 64;

/// Holds oneDNN to the calling thread; other threads, and this one afterwards, keep their number.
class OneThread {
 public:
  OneThread() { omp_set_num_threads(1); }
  ~OneThread() { omp_set_num_threads(count_); }
  OneThread(const OneThread&) = delete;
  OneThread& operator=(const OneThread&) = delete;

 private:
  const int count_ = omp_get_max_threads();
};

struct Unmap {
  std::size_t bytes;
  void operator()(std::byte* block) const { munmap(block, bytes); }
};
using Block = std::unique_ptr<std::byte, Unmap>;

std::size_t aligned(std::size_t bytes) {
  return (bytes + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
}

/// Memory with all its pages: to fault them in one by one takes longer than to compute what fills them.
Block allocate(std::size_t bytes) {
  void* const block =
      mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
  if (block == MAP_FAILED) throw std::bad_alloc();
  return Block(static_cast<std::byte*>(block), {bytes});
}

const char* instructionsOf(dnnl::cpu_isa isa) {
  switch (isa) {
    case dnnl::cpu_isa::sse41:
      return "SSE4.1";
    case dnnl::cpu_isa::avx:
      return "AVX";
    case dnnl::cpu_isa::avx2:
      return "AVX2";
    case dnnl::cpu_isa::avx2_vnni:
      return "AVX2 VNNI";
    case dnnl::cpu_isa::avx512_core:
      return "AVX-512";
    case dnnl::cpu_isa::avx512_core_vnni:
      return "AVX-512 VNNI";
    case dnnl::cpu_isa::avx512_core_bf16:
      return "AVX-512 BF16";
    case dnnl::cpu_isa::avx512_core_amx:
      return "AMX";
    default:
      return "the oldest instructions";
  }
}

bool hasBfloat16() {
  const dnnl::cpu_isa isa = dnnl::get_effective_cpu_isa();
  return isa == dnnl::cpu_isa::avx512_core_bf16 || isa == dnnl::cpu_isa::avx512_core_amx;
}

/// A layer as a primitive, with what does not change between runs.
struct Step {
  dnnl::primitive primitive;
  memory::desc from;
  memory::desc to;
  memory::desc scratch;
  std::size_t input = 0;  ///< buffers
  std::size_t output = 0;
  std::size_t inputOffset = 0;  ///< bytes
  std::size_t outputOffset = 0;
  std::optional<std::size_t> addend;
  std::unordered_map<int, memory> constants;  ///< weights and bias
};

class OneDNNEngine final : public NetworkEngine {
 public:
  OneDNNEngine(const NetworkPlan& plan, MLModelPrecision precision);
  [[nodiscard]] std::string description() const override {
    return std::string("oneDNN, ") + (type_ == memory::data_type::bf16 ? "bfloat16" : "32-bit floats") +
           ", " + instructionsOf(dnnl::get_effective_cpu_isa());
  }
  base::Result<void> run(const std::function<void(float* planes)>& fill,
                         std::span<float* const> outputs) override;

 private:
  /// What one run needs besides the weights.
  struct Workspace {
    dnnl::stream stream;
    Block memory;
    std::vector<std::unordered_map<int, dnnl::memory>> arguments;  ///< of each step
  };

  Step convolution(const Layer& layer, memory::data_type outputType);
  Step copy(const Layer& layer);
  memory::desc described(const Tensor& tensor) const;
  memory constant(std::string_view values, const memory::desc& given, const memory::desc& wanted);
  void addInPlace(std::size_t index);
  void placeBuffers();
  [[nodiscard]] std::unique_ptr<Workspace> newWorkspace() const;
  void runSteps(Workspace& workspace, const std::function<void(float* planes)>& fill,
                std::span<float* const> outputs) const;

  const memory::data_type type_;  ///< of what convolutions read
  dnnl::engine engine_{dnnl::engine::kind::cpu, 0};
  dnnl::stream loading_{engine_};
  std::vector<memory::desc> layouts_;  ///< of images, by buffer
  std::size_t outputs_;
  std::vector<Step> steps_;
  std::vector<Block> weights_;
  Block staging_;                    ///< of one layer's weights, while they are loaded
  std::vector<std::size_t> places_;  ///< of buffers in a workspace, bytes
  std::size_t workspaceSize_ = 0;
  std::size_t scratchPlace_ = 0;

  NSLock lock_;
  std::vector<std::unique_ptr<Workspace>> idle_;  ///< guarded by lock_; one for each run at the same time
};

memory::desc OneDNNEngine::described(const Tensor& tensor) const {
  if (tensor.strides.empty()) return layouts_[tensor.buffer];
  return {tensor.shape, memory::data_type::f32, tensor.strides};
}

/// A constant in the layout that a primitive wants.
memory OneDNNEngine::constant(std::string_view values, const memory::desc& given,
                              const memory::desc& wanted) {
  if (!staging_ || staging_.get_deleter().bytes < values.size()) staging_ = allocate(values.size());
  std::memcpy(staging_.get(), values.data(), values.size());
  memory source(given, engine_, staging_.get());
  memory result(wanted, engine_, weights_.emplace_back(allocate(wanted.get_size())).get());
  dnnl::reorder(source, result).execute(loading_, source, result);
  loading_.wait();
  return result;
}

Step OneDNNEngine::convolution(const Layer& layer, memory::data_type outputType) {
  using dims = memory::dims;
  const NetworkPlan::Convolution& given = *layer.convolution;
  const auto any = [](const dims& shape, memory::data_type type) {
    return memory::desc(shape, type, memory::format_tag::any);
  };
  const bool grouped = given.shape[0] > 1;
  const dims shape(given.shape.begin() + (grouped ? 0 : 1), given.shape.end());
  const memory::desc bias({given.shape[0] * given.shape[1]}, memory::data_type::f32, memory::format_tag::a);
  const memory::desc target = given.addend ? layouts_[*given.addend] : any(layer.output.shape, outputType);

  dnnl::primitive_attr attributes;
  attributes.set_scratchpad_mode(dnnl::scratchpad_mode::user);
  dnnl::post_ops after;
  if (given.addend) after.append_sum();
  if (given.limits)
    after.append_eltwise(1, dnnl::algorithm::eltwise_clip, given.limits->first, given.limits->second);
  attributes.set_post_ops(after);
  const dnnl::convolution_forward::desc description(
      dnnl::prop_kind::forward_inference, dnnl::algorithm::convolution_direct, any(layer.input.shape, type_),
      any(shape, type_), bias, target, given.strides, given.before, given.after);
  dnnl::convolution_forward::primitive_desc chosen(description, attributes, engine_);

  // The input in another layout is copied first.
  std::size_t input = layer.input.buffer;
  if (described(layer.input) != chosen.src_desc()) {
    const Tensor image{layouts_.size(), layer.input.shape, {}, 0};
    layouts_.push_back(chosen.src_desc());
    input = image.buffer;
    steps_.push_back(copy({layer.input, image, {}}));
  }
  layouts_[layer.output.buffer] = chosen.dst_desc();
  return {dnnl::convolution_forward(chosen),
          chosen.src_desc(),
          chosen.dst_desc(),
          chosen.scratchpad_desc(),
          input,
          layer.output.buffer,
          0,
          0,
          given.addend,
          {{DNNL_ARG_WEIGHTS, constant(given.weights,
                                       {shape, memory::data_type::f32,
                                        grouped ? memory::format_tag::goihw : memory::format_tag::oihw},
                                       chosen.weights_desc())},
           {DNNL_ARG_BIAS, constant(given.bias, bias, bias)}}};
}

Step OneDNNEngine::copy(const Layer& layer) {
  dnnl::primitive_attr attributes;
  attributes.set_scratchpad_mode(dnnl::scratchpad_mode::user);
  const dnnl::reorder::primitive_desc chosen(engine_, described(layer.input), engine_,
                                             described(layer.output), attributes);
  const auto bytes = [](std::int64_t elements) { return static_cast<std::size_t>(elements) * sizeof(float); };
  return {dnnl::reorder(chosen),
          chosen.src_desc(),
          chosen.dst_desc(),
          chosen.scratchpad_desc(),
          layer.input.buffer,
          layer.output.buffer,
          bytes(layer.input.offset),
          bytes(layer.output.offset),
          {},
          {}};
}

/// Lets a sum be computed where its addend lies, if nothing else needs that any more.
void OneDNNEngine::addInPlace(std::size_t index) {
  const Step& sum = steps_[index];
  const std::size_t addend = *sum.addend;
  const std::size_t output = sum.output;
  const auto needsAddend = [&](const Step& step) { return step.input == addend || step.addend == addend; };
  if (addend <= outputs_ || sum.input == addend ||
      std::any_of(steps_.begin() + static_cast<std::ptrdiff_t>(index) + 1, steps_.end(), needsAddend))
    return;
  for (std::size_t i = index; i < steps_.size(); ++i) {
    Step& step = steps_[i];
    if (step.input == output) step.input = addend;
    if (step.output == output) step.output = addend;
    if (step.addend == output) step.addend = addend;
  }
}

/// Gives each buffer a place that no other buffer has at the same time. Outputs lie in the caller's memory.
void OneDNNEngine::placeBuffers() {
  struct Lifetime {
    std::size_t bytes = 0, first = 0, last = 0;
  };
  std::vector<Lifetime> lifetimes(layouts_.size());
  places_.resize(layouts_.size());
  std::size_t scratch = 0;
  std::vector<std::size_t> placed;  // in the order of their places
  const auto use = [&](std::size_t buffer, std::size_t bytes, std::size_t step) {
    Lifetime& life = lifetimes[buffer];
    if (life.bytes == 0) life.first = step;
    life.bytes = std::max(life.bytes, aligned(bytes));
    life.last = step;
  };
  for (std::size_t i = 0; i < steps_.size(); ++i) {
    const Step& step = steps_[i];
    scratch = std::max(scratch, step.scratch.get_size());
    use(step.input, step.inputOffset + step.from.get_size(), i);
    use(step.output, step.outputOffset + step.to.get_size(), i);
    if (step.addend) use(*step.addend, 0, i);
  }
  for (std::size_t i = 0; i < lifetimes.size(); ++i) {
    if (i >= 1 && i <= outputs_) continue;
    for (const std::size_t other : placed) {
      const bool meet =
          lifetimes[other].first <= lifetimes[i].last && lifetimes[i].first <= lifetimes[other].last;
      if (meet && places_[other] < places_[i] + lifetimes[i].bytes)
        places_[i] = std::max(places_[i], places_[other] + lifetimes[other].bytes);
    }
    placed.push_back(i);
    std::sort(placed.begin(), placed.end(),
              [&](std::size_t a, std::size_t b) { return places_[a] < places_[b]; });
    scratchPlace_ = std::max(scratchPlace_, places_[i] + lifetimes[i].bytes);
  }
  workspaceSize_ = scratchPlace_ + aligned(scratch);
}

/// With bfloat16, what convolutions read is rounded to it; sums and the network's outputs keep 32 bits.
OneDNNEngine::OneDNNEngine(const NetworkPlan& plan, MLModelPrecision precision)
    : type_(precision == MLModelPrecision::bfloat16 && hasBfloat16() ? memory::data_type::bf16
                                                                     : memory::data_type::f32),
      layouts_(plan.buffers),
      outputs_(plan.outputs) {
  std::set<std::size_t> convolved;
  for (const Layer& layer : plan.layers) {
    if (!layer.convolution) continue;
    convolved.insert(layer.input.buffer);
    if (layer.convolution->addend) convolved.insert(*layer.convolution->addend);
  }
  for (const Layer& layer : plan.layers) {
    const bool isRounded = convolved.contains(layer.output.buffer);
    Step step =
        layer.convolution ? convolution(layer, isRounded ? type_ : memory::data_type::f32) : copy(layer);
    steps_.push_back(std::move(step));
  }
  for (std::size_t i = 0; i < steps_.size(); ++i)
    if (steps_[i].addend) addInPlace(i);
  staging_.reset();
  placeBuffers();
  idle_.push_back(newWorkspace());
}

std::unique_ptr<OneDNNEngine::Workspace> OneDNNEngine::newWorkspace() const {
  auto workspace =
      std::make_unique<Workspace>(Workspace{dnnl::stream(engine_), allocate(workspaceSize_), {}});
  const auto view = [&](const memory::desc& layout, std::size_t place) {
    return memory(layout, engine_, workspace->memory.get() + place);
  };
  for (const Step& step : steps_) {
    auto arguments = step.constants;
    arguments.emplace(DNNL_ARG_SRC, view(step.from, places_[step.input] + step.inputOffset));
    arguments.emplace(DNNL_ARG_DST, view(step.to, places_[step.output] + step.outputOffset));
    arguments.emplace(DNNL_ARG_SCRATCHPAD, view(step.scratch, scratchPlace_));
    workspace->arguments.push_back(std::move(arguments));
  }
  return workspace;
}

void OneDNNEngine::runSteps(Workspace& workspace, const std::function<void(float* planes)>& fill,
                            std::span<float* const> outputs) const {
  std::byte* const front = workspace.memory.get();
  fill(reinterpret_cast<float*>(front + places_[0]));
  for (std::size_t i = 0; i < steps_.size(); ++i) {
    const Step& step = steps_[i];
    auto& arguments = workspace.arguments[i];
    if (step.output >= 1 && step.output <= outputs_)
      arguments.at(DNNL_ARG_DST).set_data_handle(outputs[step.output - 1], workspace.stream);
    if (step.addend && *step.addend != step.output)
      std::memcpy(front + places_[step.output], front + places_[*step.addend], step.to.get_size());
    step.primitive.execute(workspace.stream, arguments);
  }
  workspace.stream.wait();
}

base::Result<void> OneDNNEngine::run(const std::function<void(float* planes)>& fill,
                                     std::span<float* const> outputs) {
  std::unique_ptr<Workspace> workspace;
  {
    const std::lock_guard guard(lock_);
    if (!idle_.empty()) {
      workspace = std::move(idle_.back());
      idle_.pop_back();
    }
  }
  try {
    const OneThread oneThread;
    if (!workspace) workspace = newWorkspace();
    runSteps(*workspace, fill, outputs);
  } catch (const std::exception& error) {
    return base::Failure{std::string("oneDNN cannot run the network: ") + error.what()};
  }
  const std::lock_guard guard(lock_);
  idle_.push_back(std::move(workspace));
  return {};
}

}  // namespace

base::Result<std::unique_ptr<NetworkEngine>> makeOneDNNEngine(const NetworkPlan& plan,
                                                              MLModelPrecision precision) {
  try {
    const OneThread oneThread;
    return std::unique_ptr<NetworkEngine>(new OneDNNEngine(plan, precision));
  } catch (const std::exception& error) {
    return base::Failure{std::string("oneDNN cannot run it: ") + error.what()};
  }
}

}  // namespace geoloom::platform
