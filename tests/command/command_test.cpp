// The command as a user meets it: what it prints, where, and its exit codes.

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "tests/command/command_fixture.h"
#include "tests/harness/engine_under_test.h"
#include "tests/harness/picture.h"

namespace Vantra {
namespace {

using namespace Testing;

TEST_F(Command, AppliesAnEffectAndWritesRawRowsOrAPng) {
  const Picture scene = DrawScene(61, 33);
  Store("in.png", scene);
  const Outcome raw =
      Run({"apply", "in.png", "out.bgra", "-e", "clsid_posterize", "-s", "amout=3"});
  EXPECT_EQ(raw.code, 0) << raw.err;
  EXPECT_EQ(raw.out + raw.err, "");
  const std::string bytes = ReadFile(folder_ / "out.bgra");
  ASSERT_EQ(bytes.size(), scene.pixels.size() * 4);
  Picture result("result", scene.width, scene.height);
  std::memcpy(result.pixels.data(), bytes.data(), bytes.size());
  const auto difference = Compare(scene, result, [](const Picture& input, int x, int y) {
    Color color;
    for (std::size_t c = 0; c < 4; ++c) {
      color[c] = std::floor(input.At(x, y)[c] / 255.0 * 3 + 0.5) / 3;
    }
    return color;
  });
  EXPECT_FALSE(difference) << *difference;

  // A written PNG is read back: posterising a posterised picture changes nothing.
  EXPECT_EQ(Run({"apply", "in.png", "once.png", "-e", "Posterize", "-s", "Amout=3"}).code, 0);
  EXPECT_EQ(Run({"apply", "once.png", "twice.bgra", "-e", "Posterize", "-s", "Amout=3"}).code, 0);
  EXPECT_EQ(ReadFile(folder_ / "twice.bgra"), bytes);
}

TEST_F(Command, AChainRunsInOrderAndEachAttributeBelongsToTheEffectBeforeIt) {
  Store("in.png", DrawScene(40, 30));
  const auto apply = [this](const std::string& in, const std::string& out,
                            std::vector<std::string> rest) {
    std::vector<std::string> arguments = {"apply", in, out};
    arguments.insert(arguments.end(), rest.begin(), rest.end());
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
  };
  apply("in.png", "first.png", {"-e", "Posterize", "-s", "Amout=7"});
  apply("first.png", "second.bgra", {"-e", "Posterize", "-s", "Amout=3"});
  apply("in.png", "chain.bgra",
        {"-e", "Posterize", "-s", "Amout=7", "--time", "40", "-e", "Posterize", "-s", "Amout=3"});
  EXPECT_EQ(ReadFile(folder_ / "chain.bgra"), ReadFile(folder_ / "second.bgra"));
}

TEST_F(Command, SetsByNumberWhatNoAttributeXmlTells) {
  // A filter without a look is black at full strength and leaves the picture at none.
  Store("in.png", DrawScene(9, 7));
  EXPECT_EQ(Run({"apply", "in.png", "same.bgra", "-e", "AlphaConvert"}).code, 0);
  EXPECT_EQ(Run({"apply", "in.png", "none.bgra", "-e", "InstagramNone", "-s", "Amout=0"}).code, 0);
  EXPECT_EQ(ReadFile(folder_ / "none.bgra"), ReadFile(folder_ / "same.bgra"));
  EXPECT_EQ(Run({"describe", "InstagramFilter"}).out, "amout\tfloat\tby number\n");
  EXPECT_EQ(Run({"describe", "InstagramNone", "--json"}).out,
            "[\n  {\"name\": \"amout\", \"type\": \"float\", \"byNumber\": true}\n]\n");
  EXPECT_NE(Run({"effects", "--json"}).out.find("\"numbers\": [\"amout\"]"), std::string::npos);
  EXPECT_EQ(Run({"describe", "D2D1ConvolveMatrix"}).out,
            "kernel\tfloat\tmin 0\tmax 5\tby number\n");
  EXPECT_EQ(Run({"describe", "D2D1ConvolveMatrix", "--json"}).out,
            "[\n  {\"name\": \"kernel\", \"type\": \"float\", \"min\": \"0\", \"max\": \"5\", "
            "\"byNumber\": true}\n]\n");
  for (const char* setting : {"kernel=6", "kernel=-1"}) {
    ExpectFailure(2, "kernel goes from 0 to 5",
                  {"apply", "in.png", "out.png", "-e", "D2D1ConvolveMatrix", "-s", setting});
  }
  for (const auto& [setting, cause] : {std::pair{"hue=1", "no such attribute; amout"},
                                       {"amout=", "not a number"},
                                       {"amout=1x", "not a number"},
                                       {"amout=nan", "not a number"},
                                       {"amout=1e99", "out of range"}}) {
    ExpectFailure(2, cause, {"apply", "in.png", "out.png", "-e", "InstagramFilter", "-s", setting});
  }
}

TEST_F(Command, TheExtensionNamesTheFormatThatIsWritten) {
  Store("in.png", DrawScene(8, 6));
  for (const auto& [name, start] : {std::pair<const char*, std::string>{"out.bmp", "BM"},
                                    {"out.GIF", "GIF8"},
                                    {"out", "\x89PNG"},
                                    {"out.picture", "\x89PNG"}}) {
    const Outcome outcome = Run({"apply", "in.png", name, "-e", "Posterize"});
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_EQ(ReadFile(folder_ / name).substr(0, start.size()), start) << name;
    // What was written can be read again.
    EXPECT_EQ(Run({"apply", name, "again.bgra", "-e", "AlphaConvert"}).code, 0) << name;
    EXPECT_EQ(ReadFile(folder_ / "again.bgra").size(), 8u * 6 * 4);
  }
}

TEST_F(Command, ConvertsARawFrameAndScalesPictures) {
  // Two by two pixels: black, white, and colours that are none.
  std::ofstream(folder_ / "frame.nv12", std::ios::binary) << "\x10\xEB\x10\xEB\x80\x80";
  EXPECT_EQ(Run({"convert", "--format", "nv12", "--size", "2x2", "frame.nv12", "f.bgra"}).code, 0);
  const std::string black("\0\0\0\xFF", 4), white("\xFF\xFF\xFF\xFF", 4);
  EXPECT_EQ(ReadFile(folder_ / "f.bgra"), black + white + black + white);
  ExpectFailure(1, "has 6 bytes",
                {"convert", "--format", "i420", "--size", "2x2", "stdout", "out.png"});
  ExpectFailure(2, "even sides",
                {"convert", "--format", "yuy2", "--size", "3x2", "frame.nv12", "out.png"});
  ExpectFailure(2, "--format rgb",
                {"convert", "--format", "rgb", "--size", "2x2", "frame.nv12", "out.png"});
  for (const char* size : {"2", "2x", "x2", "0x2", "2x-1", "2x2x2", "99999x2"}) {
    ExpectFailure(2, "expected WxH",
                  {"convert", "--format", "grey", "--size", size, "frame.nv12", "out.png"});
  }

  Store("in.png", DrawScene(40, 20));
  EXPECT_EQ(Run({"apply", "in.png", "small.bgra", "-e", "AlphaConvert", "--size", "10x10"}).code,
            0);
  EXPECT_EQ(ReadFile(folder_ / "small.bgra").size(), 400u);
}

TEST_F(Command, TellsWhatThereIs) {
  const Outcome effects = Run({"effects"});
  EXPECT_NE(effects.out.find("CLSID_Posterize\tPosterize\tColor\n"), std::string::npos);
  EXPECT_NE(Run({"effects", "--json"}).out.find("\"name\": \"CLSID_Posterize\""),
            std::string::npos);
  EXPECT_EQ(Run({"describe", "POSTERIZE"}).out, "Amout\tint\tmin 1\tmax 256\tdefault 10\n");
  EXPECT_EQ(Run({"describe", "Posterize", "--json"}).out,
            "[\n  {\"name\": \"Amout\", \"type\": \"int\", \"min\": \"1\", \"max\": \"256\", "
            "\"default\": \"10\"}\n]\n");
  EXPECT_EQ(Run({"describe", "Posterize", "--xml"}).out.substr(0, 5), "<?xml");
  EXPECT_NE(Run({"resources"}).out.find("IDR_PS_POSTERIZE\t"), std::string::npos);
  EXPECT_EQ(Run({"resources", "--extract", "idr_ps_posterize", "program.spv"}).code, 0);
  EXPECT_EQ(ReadFile(folder_ / "program.spv").substr(0, 4), "\x03\x02\x23\x07");
}

TEST_F(Command, ListsTheEnginesAndDrawsOnTheOneThatIsNamed) {
  const Outcome outcome = Run({"engines"});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  const std::size_t automatic = outcome.out.find("\t(auto)\n");
  EXPECT_EQ(automatic, outcome.out.find('\n') - std::string("\t(auto)").size()) << outcome.out;
  EXPECT_EQ(outcome.out.rfind("\t(auto)\n"), automatic);

  Store("in.png", DrawScene(20, 10));
  std::istringstream lines(outcome.out);
  std::set<std::string> engines;
  for (std::string line; std::getline(lines, line);) {
    const std::string engine = line.substr(0, line.find('\t'));
    engines.insert(engine);
    const Outcome drawn =
        Run({"apply", "in.png", engine + ".bgra", "-e", "Posterize", "--engine", engine});
    EXPECT_EQ(drawn.code, 0) << engine << drawn.err;
    EXPECT_EQ(ReadFile(folder_ / (engine + ".bgra")).size(), 800u);
  }
  EXPECT_EQ(engines.count("vulkan:0"), 1u) << "The tests need a Vulkan device.";
  EXPECT_EQ(engines.count("cpu"), HasCpuEngine() ? 1u : 0u);
  EXPECT_EQ(Run({"--help"}).code, 0);
}

TEST_F(Command, WrongUsageIsToldApartFromFailure) {
  Store("in.png", DrawScene(4, 4));
  std::ofstream(folder_ / "text.png") << "no picture";
  std::filesystem::create_directory(folder_ / "folder");
  ExpectFailure(2, "subcommand", {});
  ExpectFailure(2, "INPUT", {"apply"});
  ExpectFailure(2, "--effect", {"apply", "in.png", "out.png"});
  ExpectFailure(2, "no effect Nothing", {"apply", "in.png", "out.png", "-e", "Nothing"});
  ExpectFailure(2, "not UTF-8", {"apply", "in.png", "out.png", "-e", "\xFF"});
  ExpectFailure(2, "no such attribute; Amout",
                {"apply", "in.png", "out.png", "-e", "Posterize", "-s", "Steps=3"});
  ExpectFailure(2, "not a number",
                {"apply", "in.png", "out.png", "-e", "Posterize", "-s", "Amout=few"});
  ExpectFailure(2, "out of range",
                {"apply", "in.png", "out.png", "-e", "Posterize", "-s", "Amout=1e99"});
  ExpectFailure(2, "Name=Value", {"apply", "in.png", "out.png", "-e", "Posterize", "-s", "Amout"});
  ExpectFailure(2, "behind the -e", {"apply", "in.png", "out.png", "-s", "a=1", "-e", "Posterize"});
  ExpectFailure(2, "expected X,Y",
                {"apply", "in.png", "out.png", "-e", "Posterize", "--mouse", "0.5"});
  ExpectFailure(2, "no effect Nothing", {"describe", "Nothing"});
  ExpectFailure(2, "no resource IDR_X", {"resources", "--extract", "IDR_X", "out.png"});
  for (const char* engine : {"gpu", "cpu:1", "vulkan:", "vulkan:x", "vulkan0"}) {
    ExpectFailure(2, "expected auto, cpu, vulkan or vulkan:N",
                  {"apply", "in.png", "out.png", "-e", "Posterize", "--engine", engine});
  }
  ExpectFailure(1, "no such device",
                {"apply", "in.png", "out.png", "-e", "Posterize", "--engine", "vulkan:99"});
  ExpectFailure(1, "none.png: no such file", {"apply", "none.png", "out.png", "-e", "Posterize"});
  ExpectFailure(1, "no picture of a known format",
                {"apply", "text.png", "out.png", "-e", "Posterize"});
  ExpectFailure(1, "cannot read folder", {"apply", "folder", "out.png", "-e", "Posterize"});
  ExpectFailure(1, "cannot write none/out.png",
                {"apply", "in.png", "none/out.png", "-e", "Posterize"});
}

TEST_F(Command, DamagedAndHostilePicturesFailAndLoseNothing) {
  Store("in.png", DrawScene(24, 16));
  const std::string whole = ReadFile(folder_ / "in.png");
  std::mt19937 random(9);
  const auto apply = [this](const std::string& bytes) {
    std::ofstream(folder_ / "bad.png", std::ios::binary) << bytes;
    return Run({"apply", "bad.png", "out.png", "-e", "Posterize"});
  };
  for (std::size_t length = 0; length + 1 < whole.size(); length += whole.size() / 6) {
    std::ofstream(folder_ / "bad.png", std::ios::binary) << whole.substr(0, length);
    ExpectFailure(1, "bad.png", {"apply", "bad.png", "out.png", "-e", "Posterize"});
  }
  for (int round = 0; round < 6; ++round) {
    std::string flipped = whole;
    for (int i = 0; i < 8; ++i) flipped[random() % flipped.size()] ^= static_cast<char>(random());
    const Outcome outcome = apply(flipped);
    EXPECT_TRUE(outcome.code == 0 || outcome.code == 1) << outcome.code << outcome.err;
    std::filesystem::remove(folder_ / "out.png");
  }
  // A header that claims 100000 x 100000 pixels.
  std::string lying = whole;
  for (const std::size_t at : {16u, 20u}) lying.replace(at, 4, std::string("\0\1\x86\xA0", 4));
  EXPECT_EQ(apply(lying).code, 1);

  // A failure leaves the former output as it was.
  std::ofstream(folder_ / "kept.png") << "kept";
  EXPECT_EQ(Run({"apply", "bad.png", "kept.png", "-e", "Posterize"}).code, 1);
  EXPECT_EQ(ReadFile(folder_ / "kept.png"), "kept");
}

TEST_F(Command, AGalleryShowsEveryEffectAndReplacesOnlyItsOwnFiles) {
  const std::filesystem::path page = folder_ / "new" / "out" / "index.html";
  EXPECT_EQ(Run({"gallery", "new/out", "--size", "16x12"}).out, "new/out/index.html\n");
  EXPECT_NE(ReadFile(page).find("a sample drawing"), std::string::npos);
  std::ofstream(folder_ / "new" / "out" / "other") << "kept";

  Store("a&b<.png", DrawScene(60, 40));
  const Outcome outcome = Run({"gallery", "new/out", "a&b<.png", "--size", "30x30"});
  EXPECT_EQ(ReadFile(folder_ / "new" / "out" / "other"), "kept");
  const std::string html = ReadFile(page);
  EXPECT_NE(html.find("a&amp;b&lt;.png"), std::string::npos);
  EXPECT_EQ(html.find("a&b<"), std::string::npos);

  std::istringstream effects(Run({"effects"}).out);
  std::size_t count = 0;
  for (std::string line; std::getline(effects, line); ++count) {
    const std::string name = line.substr(0, line.find('\t'));
    EXPECT_NE(html.find(">" + name + "<"), std::string::npos) << name;
  }
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_EQ(html.find("could not be drawn"), std::string::npos);
  const std::string start = "src=\"";
  std::set<std::string> links;
  for (std::size_t at = 0; (at = html.find(start, at)) != std::string::npos; ++at) {
    const std::size_t from = at + start.size();
    links.insert(html.substr(from, html.find('"', from) - from));
  }
  // One for each effect, and one or two that they start from.
  EXPECT_GT(links.size(), count);
  for (const std::string& link : links) {
    const Picture picture = Decode(page.parent_path() / link);
    EXPECT_EQ(std::pair(picture.width, picture.height), std::pair(30, 20)) << link;
  }
}

TEST_F(Command, AGalleryThatCannotBeMadeLosesNothing) {
  Store("in.png", DrawScene(4, 4));
  std::filesystem::create_directories(folder_ / "out" / "pictures" / "before.png");
  std::ofstream(folder_ / "out" / "index.html") << "kept";
  ExpectFailure(1, "cannot write out/pictures/before.png", {"gallery", "out", "in.png"});
  EXPECT_EQ(ReadFile(folder_ / "out" / "index.html"), "kept");
  ExpectFailure(1, "in.png/pictures: Not a directory", {"gallery", "in.png"});
  ExpectFailure(1, "none.png: no such file", {"gallery", "new", "none.png"});
  ExpectFailure(1, "no picture of a known format", {"gallery", "new", "out/index.html"});
  ExpectFailure(2, "expected WxH", {"gallery", "new", "--size", "x"});
  ExpectFailure(2, "OUTDIR is empty", {"gallery", ""});
  ExpectFailure(2, "up to 2048 pixels", {"gallery", "new", "--size", "2049x1"});
  EXPECT_FALSE(std::filesystem::exists(folder_ / "new"));
}

TEST_F(Command, MessagesThatCannotBeWrittenChangeNothingElse) {
  EXPECT_EQ(Run({"gallery", "page", "--size", "8x8"}, "/dev/full").code, 0);
  EXPECT_TRUE(std::filesystem::exists(folder_ / "page" / "index.html"));
  Store("in.png", DrawScene(4, 4));
  EXPECT_EQ(Run({"apply", "in.png", "out.png", "-e", "Nothing"}, "/dev/full").code, 2);
  EXPECT_EQ(Run({"apply"}, "/dev/full").code, 2);
}

TEST_F(Command, DoesNotAskVulkanForTheCpuEngine) {
  if (!HasCpuEngine()) return;
  Store("in.png", DrawScene(4, 4));
  // Makes the loader tell of what it does.
  ASSERT_EQ(setenv("VK_LOADER_DEBUG", "all", 1), 0);
  EXPECT_NE(Run({"apply", "in.png", "out.bgra", "-e", "Posterize"}).err, "");
  const Outcome drawn = Run({"apply", "in.png", "out.bgra", "-e", "Posterize", "--engine", "cpu"});
  unsetenv("VK_LOADER_DEBUG");
  EXPECT_EQ(drawn.code, 0);
  EXPECT_EQ(drawn.err, "");
}

TEST_F(Command, WithoutVulkanTheCpuEngineDrawsAndVulkanIsMissed) {
  Store("in.png", DrawScene(4, 4));
  for (const char* variable : {"VK_DRIVER_FILES", "VK_ICD_FILENAMES"}) {
    ASSERT_EQ(setenv(variable, "/nonexistent.json", 1), 0);
  }
  const Outcome list = Run({"engines"});
  ExpectFailure(1, "no such device",
                {"apply", "in.png", "out.png", "-e", "Posterize", "--engine", "vulkan"});
  if (HasCpuEngine()) {
    const Outcome drawn = Run({"apply", "in.png", "drawn.bgra", "-e", "Posterize"});
    EXPECT_EQ(drawn.code, 0) << drawn.err;
    EXPECT_EQ(list.code, 0);
    EXPECT_EQ(list.out.substr(0, 4), "cpu\t");
    EXPECT_EQ(CountLines(list.out), 1u) << list.out;
  } else {
    ExpectFailure(1, "no usable render engine", {"apply", "in.png", "out.png", "-e", "Posterize"});
    EXPECT_EQ(list.code, 1);
    EXPECT_EQ(list.out, "");
  }
  EXPECT_NE(list.err.find("Vulkan"), std::string::npos) << list.err;
  for (const char* variable : {"VK_DRIVER_FILES", "VK_ICD_FILENAMES"}) unsetenv(variable);
}

}  // namespace
}  // namespace Vantra
