#include <gtest/gtest.h>

#include "geoloom/platform/vision/MLModel.h"
#include "geoloom/platform/vision/ModelManifest.h"

#include "tests/support/TemporaryDirectory.h"

namespace geoloom::platform {
namespace {

const std::string GOOD = R"({"format": "geoloom-model", "version": 1, "network": "model.onnx",
  "input": {"name": "picture", "width": 320, "height": 300, "colors": "BGR", "divisor": 127.5, "offset": -1},
  "outputs": [{"name": "second", "shape": [91, 1917]}, {"name": "first", "shape": [4]}], "source": "x"})";

TEST(ModelManifest, ReadsAllMembers) {
  const auto manifest = parseModelManifest(GOOD, "m");
  ASSERT_TRUE(manifest) << manifest.failure().message;
  EXPECT_EQ(manifest->network, "model.onnx");
  EXPECT_EQ(manifest->inputName, "picture");
  EXPECT_EQ(manifest->inputWidth, 320U);
  EXPECT_EQ(manifest->inputHeight, 300U);
  EXPECT_TRUE(manifest->blueFirst);
  EXPECT_EQ(manifest->divisor, 127.5);
  EXPECT_EQ(manifest->offset, -1);
  EXPECT_EQ(manifest->outputs, (std::vector<ModelManifest::Output>{{"second", {91, 1917}}, {"first", {4}}}));
}

TEST(ModelManifest, RejectsInvalidManifestsInOneLine) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"{\"format\"", "{{\"format\"", "m: not JSON"},
      {"geoloom-model", "other", R"(m: "format" is not "geoloom-model")"},
      {R"("version": 1)", R"("version": 2)", R"(m: "version" is not 1, the one this library reads)"},
      {R"("version": 1)", R"("version": "1")", R"(m: "version" is not 1, the one this library reads)"},
      {"model.onnx", "../model.onnx", R"(m: "network" does not name a file in the bundle)"},
      {"model.onnx", "", R"(m: "network" does not name a file in the bundle)"},
      {"\"input\"", "\"in\"", R"(m: "input" is missing)"},
      {"\"picture\"", "7", R"(m: "input" needs a name, a width and a height)"},
      {"320", "-320", R"(m: "input" needs a name, a width and a height)"},
      {"320", "320.5", R"(m: "input" needs a name, a width and a height)"},
      {"300", "1e300", R"(m: "input" needs a name, a width and a height)"},
      {"BGR", "RGBA", R"(m: "colors" is neither "RGB" nor "BGR")"},
      {"127.5", "0", R"(m: "divisor" and "offset" must be numbers, and the divisor not 0)"},
      {"-1}", "null}", R"(m: "divisor" and "offset" must be numbers, and the divisor not 0)"},
      {"\"outputs\"", "\"out\"", R"(m: "outputs" is missing)"},
      {"[4]", "[]", R"(m: "outputs" must list at least one name with its shape)"},
      {"[4]", "[0]", R"(m: "outputs" must list at least one name with its shape)"},
      {"[91, 1917]", "[9e6, 9e6]", R"(m: "outputs" must list at least one name with its shape)"},
      {"\"first\"", "null", R"(m: "outputs" must list at least one name with its shape)"},
  };
  for (const auto& [part, instead, message] : cases) {
    std::string text = GOOD;
    ASSERT_NE(text.find(part), std::string::npos) << part;
    text.replace(text.find(part), std::string(part).size(), instead);
    const auto manifest = parseModelManifest(text, "m");
    ASSERT_FALSE(manifest) << text;
    EXPECT_EQ(manifest.failure().message, message);
  }
}

TEST(MLModel, NamesABundleThatCannotBeLoaded) {
  const test::TemporaryDirectory folder;
  const auto bundle = std::filesystem::canonical(folder.path()) / "m.mlmodelc";
  const auto messageOf = [](const std::filesystem::path& path) {
    const auto model = MLModel::create(path);
    return model ? std::string("loaded") : model.failure().message;
  };
  EXPECT_EQ(messageOf(bundle), bundle.string() + ": there is no model at this path");
  std::filesystem::create_directory(bundle);
  EXPECT_EQ(messageOf(bundle), (bundle / "manifest.json").string() + ": there is no such file");
  std::filesystem::create_directory(bundle / "manifest.json");
  EXPECT_EQ(messageOf(bundle), (bundle / "manifest.json").string() + ": is a directory");
  std::filesystem::remove(bundle / "manifest.json");
  folder.write("m.mlmodelc/manifest.json", GOOD);
  EXPECT_EQ(messageOf(bundle), (bundle / "model.onnx").string() + ": there is no such file");
  folder.write("m.mlmodelc/model.onnx", "not a network");
  EXPECT_EQ(messageOf(bundle), (bundle / "model.onnx").string() + ": not an ONNX file");
}

}  // namespace
}  // namespace geoloom::platform
