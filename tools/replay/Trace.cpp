#include "tools/replay/Trace.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "geoloom/base/ReadFile.h"

#include "tools/json/JSONMember.h"

namespace geoloom::tools {
namespace {

using nlohmann::ordered_json;

ordered_json vector(const platform::SCNVector3& v) {
  return {v.x, v.y, v.z};
}

ordered_json matrix(const platform::simd_float4x4& m) {
  ordered_json values = ordered_json::array();
  for (const auto& column : m.columns) {
    for (const float v : {column.x, column.y, column.z, column.w}) values.push_back(v);
  }
  return values;
}

template <class T, class Write>
ordered_json list(const std::vector<T>& values, const Write& write) {
  ordered_json result = ordered_json::array();
  for (const T& value : values) result.push_back(write(value));
  return result;
}

ordered_json assets(const std::vector<TracedAsset>& values) {
  return list(values, [](const TracedAsset& a) {
    return ordered_json{{"id", a.id},
                        {"position", vector(a.position)},
                        {"orientation", a.orientation},
                        {"confidence", a.confidence}};
  });
}

ordered_json relocalized(const TracedAssets& list) {
  ordered_json json{{"time", list.time}, {"assets", assets(list.assets)}};
  if (const auto& t = list.transform)
    json["transform"] = {t->translation.x, t->translation.y, t->translation.z, t->theta};
  return json;
}

ordered_json localization(const TracedLocalization& l) {
  ordered_json json{{"time", l.time},       {"reason", l.reason}, {"matchCount", l.matchCount},
                    {"objects", l.objects}, {"moved", l.moved},   {"missing", l.missing}};
  if (l.predictedErrorMeters) json["predictedErrorMeters"] = *l.predictedErrorMeters;
  if (l.runnerUp) json["runnerUp"] = *l.runnerUp;
  return json;
}

ordered_json objects(const std::vector<TracedObject>& values) {
  return list(values, [](const TracedObject& o) {
    return ordered_json{
        {"name", o.name}, {"confidence", o.confidence}, {"center", vector(o.center)}, {"height", o.height}};
  });
}

ordered_json summary(const Trace& trace) {
  ordered_json latency = ordered_json::object();
  for (const TracedStage& stage : trace.stages) {
    latency[stage.name] = {{"p50", stage.percentile(0.5)}, {"p99", stage.percentile(0.99)}};
  }
  return {{"offered", trace.frames.size()}, {"gated", trace.gated()},
          {"dropped", trace.dropped()},     {"analysed", trace.analysed()},
          {"unreadable", trace.unreadable}, {"objects", trace.tracks.size()},
          {"saved", trace.saved},           {"notSaved", trace.notSaved},
          {"latencyMilliseconds", latency}, {"problems", trace.problems}};
}

// --- reading ---

float single(const JSONMember& number) {
  return static_cast<float>(number.number());
}

std::size_t count(const JSONMember& number) {
  const double n = number.number();
  if (!(n >= 0)) throw MalformedJSON(number.path() + " must not be negative");
  return static_cast<std::size_t>(n);
}

/// The list's numbers, `size` of them.
std::vector<float> numbers(const JSONMember& member, std::size_t size) {
  std::vector<float> values;
  for (const JSONMember& number : member.list()) values.push_back(single(number));
  if (values.size() != size) throw MalformedJSON(fmt::format("{} must be {} numbers", member.path(), size));
  return values;
}

platform::SCNVector3 readVector(const JSONMember& member) {
  const std::vector<float> n = numbers(member, 3);
  return {n[0], n[1], n[2]};
}

std::vector<TracedAsset> readAssets(const JSONMember& member) {
  std::vector<TracedAsset> result;
  for (const JSONMember& a : member.list()) {
    result.push_back(
        {a["id"].string(), readVector(a["position"]), single(a["orientation"]), single(a["confidence"])});
  }
  return result;
}

std::optional<TracedTransform> readTransform(const JSONMember& member) {
  if (!member.isPresent()) return std::nullopt;
  const std::vector<float> n = numbers(member, 4);
  return TracedTransform{{n[0], n[1], n[2]}, n[3]};
}

std::vector<std::string> readTexts(const JSONMember& member) {
  std::vector<std::string> texts;
  for (const JSONMember& text : member.list()) texts.push_back(text.string());
  return texts;
}

TracedLocalization readLocalization(const JSONMember& l) {
  const auto number = [](const JSONMember& member) {
    return member.isPresent() ? std::optional(member.number()) : std::nullopt;
  };
  return {.time = l["time"].number(),
          .reason = l["reason"].string(),
          .matchCount = count(l["matchCount"]),
          .predictedErrorMeters = number(l["predictedErrorMeters"]),
          .runnerUp = number(l["runnerUp"]),
          .objects = readTexts(l["objects"]),
          .moved = readTexts(l["moved"]),
          .missing = readTexts(l["missing"])};
}

TracedRecording readRecording(const JSONMember& r) {
  TracedRecording recording{r["path"].string(), count(r["frames"]), {}};
  const std::vector<float> m = numbers(r["sessionFromRecording"], 16);
  for (std::size_t c = 0; c < 4; ++c) {
    recording.sessionFromRecording.columns[c] = {m[4 * c], m[4 * c + 1], m[4 * c + 2], m[4 * c + 3]};
  }
  return recording;
}

TracedFrame readFrame(const JSONMember& f, std::size_t recordings) {
  const platform::SCNVector3 p = readVector(f["position"]);
  const std::string outcome = f["outcome"].string();
  TracedFrame frame{count(f["recording"]), count(f["index"]),  f["time"].number(),
                    {p.x, p.y, p.z},       outcome == "gated", outcome == "analysed"};
  if (frame.recording >= recordings) throw MalformedJSON(f.path() + ".recording names none");
  return frame;
}

TracedBatch readBatch(const JSONMember& b, std::size_t frames) {
  TracedBatch batch{count(b["frame"]), {}, count(b["tracked"])};
  if (batch.frame >= frames) throw MalformedJSON(b.path() + ".frame names none");
  for (const JSONMember& o : b["objects"].list()) {
    batch.objects.push_back(
        {o["name"].string(), single(o["confidence"]), readVector(o["center"]), single(o["height"])});
  }
  return batch;
}

Trace read(const JSONMember& json) {
  if (json["version"].number() != 1) throw MalformedJSON("version must be 1");
  Trace trace;
  trace.mode = json["mode"].string();
  trace.map = json["map"].string();
  trace.mapUUID = json["mapUUID"].string();
  if (json["engine"].isPresent()) trace.engine = json["engine"].string();
  trace.sessionUUID = json["sessionUUID"].string();
  for (const JSONMember& r : json["recordings"].list()) trace.recordings.push_back(readRecording(r));
  for (const JSONMember& s : json["statuses"].list()) {
    trace.statuses.push_back({s["time"].number(), s["status"].string()});
  }
  for (const JSONMember& f : json["frames"].list())
    trace.frames.push_back(readFrame(f, trace.recordings.size()));
  for (const JSONMember& b : json["detections"].list())
    trace.batches.push_back(readBatch(b, trace.frames.size()));
  for (const JSONMember& t : json["tracked"].list()) {
    const std::vector<float> box = numbers(t["box"], 6);
    trace.tracks.push_back({static_cast<std::int64_t>(count(t["id"])),
                            t["name"].string(),
                            static_cast<std::int64_t>(count(t["seenFrames"])),
                            {box[0], box[1], box[2], box[3], box[4], box[5]}});
  }
  trace.placed = readAssets(json["placed"]);
  for (const JSONMember& l : json["relocalized"].list()) {
    trace.relocalized.push_back({l["time"].number(), readAssets(l["assets"]), readTransform(l["transform"])});
  }
  // Earlier versions have none.
  if (json["localizations"].isPresent()) {
    for (const JSONMember& l : json["localizations"].list())
      trace.localizations.push_back(readLocalization(l));
  }
  return trace;
}

}  // namespace

base::Result<Trace> readTrace(const std::filesystem::path& path) {
  const auto text = base::readFileOrPipe(path, maximumJSONBytes);
  if (!text) return text.failure();
  return readJSON<Trace>(*text, path.string(), read);
}

double TracedStage::percentile(double p) const {
  if (milliseconds.empty()) return 0;
  std::vector<double> sorted = milliseconds;
  std::sort(sorted.begin(), sorted.end());
  const double rank = std::ceil(p * static_cast<double>(sorted.size()));
  return sorted[static_cast<std::size_t>(std::max(rank, 1.0)) - 1];
}

std::size_t Trace::gated() const {
  return static_cast<std::size_t>(
      std::count_if(frames.begin(), frames.end(), [](const TracedFrame& f) { return f.gated; }));
}

std::size_t Trace::analysed() const {
  return static_cast<std::size_t>(
      std::count_if(frames.begin(), frames.end(), [](const TracedFrame& f) { return f.analysed; }));
}

ordered_json toJSON(const Trace& trace) {
  ordered_json json{{"version", 1},
                    {"mode", trace.mode},
                    {"map", trace.map},
                    {"mapUUID", trace.mapUUID},
                    {"sessionUUID", trace.sessionUUID},
                    {"engine", trace.engine}};
  json["recordings"] = list(trace.recordings, [](const TracedRecording& r) {
    return ordered_json{
        {"path", r.path}, {"frames", r.frames}, {"sessionFromRecording", matrix(r.sessionFromRecording)}};
  });
  json["statuses"] = list(trace.statuses, [](const TracedStatus& s) {
    return ordered_json{{"time", s.time}, {"status", s.name}};
  });
  json["frames"] = list(trace.frames, [](const TracedFrame& f) {
    return ordered_json{{"recording", f.recording},
                        {"index", f.index},
                        {"time", f.time},
                        {"position", {f.position.x, f.position.y, f.position.z}},
                        {"outcome", f.gated      ? "gated"
                                    : f.analysed ? "analysed"
                                                 : "dropped"}};
  });
  json["detections"] = list(trace.batches, [](const TracedBatch& b) {
    return ordered_json{{"frame", b.frame}, {"objects", objects(b.objects)}, {"tracked", b.tracked}};
  });
  json["tracked"] = list(trace.tracks, [](const TracedTrack& t) {
    return ordered_json{{"id", t.id},
                        {"name", t.name},
                        {"seenFrames", t.seenFrames},
                        {"box", {t.box.minX, t.box.maxX, t.box.minY, t.box.maxY, t.box.minZ, t.box.maxZ}}};
  });
  json["placed"] = assets(trace.placed);
  json["relocalized"] = list(trace.relocalized, relocalized);
  json["localizations"] = list(trace.localizations, localization);
  json["summary"] = summary(trace);
  return json;
}

}  // namespace geoloom::tools
