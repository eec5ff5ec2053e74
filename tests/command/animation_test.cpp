// What the command tells of picture files, and animations run through effects.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/imaging/test_gifs.h"
#include "platform/imaging/webp_encoder.h"
#include "tests/command/command_fixture.h"
#include "tests/harness/picture.h"

namespace Vantra {
namespace {

using namespace Testing;

const std::vector<Pixel> kColours = {
    {0, 0, 0, 255}, {0, 0, 255, 255}, {0, 255, 0, 255}, {255, 0, 0, 255}, {0, 0, 0, 0}};
constexpr char kLetters[] = "KRGB.";

// The picture as a letter a pixel: black, red, green, blue, or transparent.
std::string Spell(const Picture& picture) {
  std::string text;
  for (const Pixel& pixel : picture.pixels) {
    const auto found = std::find(kColours.begin(), kColours.end(), pixel);
    text += found == kColours.end() ? '?' : kLetters[found - kColours.begin()];
  }
  return text;
}

Platform::GifPatch MakePatch(unsigned left, unsigned top, unsigned width, unsigned height,
                             BYTE colour, unsigned delay, unsigned disposal) {
  Platform::GifPatch patch;
  patch.left = left;
  patch.top = top;
  patch.width = width;
  patch.height = height;
  patch.delay = delay;
  patch.disposal = disposal;
  patch.indexes.assign(std::size_t{width} * height, colour);
  return patch;
}

class Animations : public Command {
 protected:
  void Write(const std::string& name, const Platform::Bytes& bytes) {
    std::ofstream(folder_ / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }

  // Four frames of 4 by 2 pixels: one of all red, a patch that goes as if it had not been, one that
  // leaves a hole, and one that stays.
  Platform::Bytes MakeGif(std::optional<BYTE> repetitions = std::nullopt) {
    Platform::GifPicture gif;
    gif.width = 4;
    gif.height = 2;
    gif.palette = {{0, 0, 0}, {255, 0, 0}, {0, 255, 0}, {0, 0, 255}};
    if (repetitions) {
      gif.before_frames = Platform::MakeGifApplication("NETSCAPE2.0", {1, *repetitions, 0});
    }
    gif.frames = {MakePatch(0, 0, 4, 2, 1, 10, 1), MakePatch(1, 0, 2, 1, 2, 3, 3),
                  MakePatch(0, 1, 1, 1, 3, 0, 2), MakePatch(3, 1, 1, 1, 2, 70, 0)};
    return EncodeGif(gif);
  }
  const std::vector<std::string> spelled_ = {"RRRRRRRR", "RGGRRRRR", "RRRRBRRR", "RRRR.RRG"};

  // The frames of an animation, written as pictures into a new folder.
  std::vector<Picture> Split(const std::string& name, std::vector<std::string> options = {}) {
    const std::filesystem::path into = folder_ / ("frames-" + std::to_string(folders_++));
    options.insert(options.begin(), {"gif", name, into.string()});
    const Outcome outcome = Run(options);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_EQ(outcome.out + outcome.err, "");
    std::vector<Picture> pictures;
    for (int i = 1; i <= 9; ++i) {
      const auto picture = into / ("frame-000" + std::to_string(i) + ".png");
      if (std::filesystem::exists(picture)) pictures.push_back(Decode(picture));
    }
    return pictures;
  }
  std::vector<std::string> SplitAndSpell(const std::string& name) {
    std::vector<std::string> frames;
    for (const Picture& picture : Split(name)) frames.push_back(Spell(picture));
    return frames;
  }

  // What `info` tells of an animation behind its name and format.
  std::string Tell(const std::string& name) {
    const std::string json = Run({"info", "--json", name}).out;
    const std::size_t from = json.find("\"width\"");
    return from == std::string::npos ? json : json.substr(from, json.rfind('}') - from);
  }

  int folders_ = 0;
};

TEST_F(Animations, InfoTellsEveryFormatByItsContent) {
  Store("in.png", DrawScene(9, 7));
  std::vector<std::string> arguments = {"info"};
  std::string expected;
  for (const auto& [extension, format] : {std::pair{"bmp", "BMP"},
                                          {"dds", "DDS"},
                                          {"gif", "GIF"},
                                          {"jpg", "JPEG"},
                                          {"jxr", "HD Photo"},
                                          {"png", "PNG"},
                                          {"tif", "TIFF"},
                                          {"webp", "WebP"}}) {
    const std::string written = std::string("written.") + extension;
    const Outcome outcome = Run({"apply", "in.png", written, "-e", "Posterize"});
    ASSERT_EQ(outcome.code, 0) << outcome.err;
    const std::string name = std::string("a ") + extension;
    std::filesystem::rename(folder_ / written, folder_ / name);
    arguments.push_back(name);
    expected += name + "\t" + format + "\t9x7\t1 frame\n";
  }
  Write("animation.png", MakeGif(4));
  arguments.push_back("animation.png");
  expected += "animation.png\tGIF\t4x2\t4 frames\t0 to 700 ms each\tshown 5 times\n";
  Outcome outcome = Run(arguments);
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_EQ(outcome.out, expected);

  // What cannot be read keeps nothing else from being told.
  std::ofstream(folder_ / "text") << "no picture";
  outcome = Run({"info", "none", "in.png", "text", "--json", "animation.png"});
  EXPECT_EQ(outcome.code, 1);
  EXPECT_EQ(outcome.out,
            "[\n  {\"file\": \"in.png\", \"format\": \"PNG\", \"width\": 9, \"height\": 7, "
            "\"frames\": 1},\n  {\"file\": \"animation.png\", \"format\": \"GIF\", \"width\": 4, "
            "\"height\": 2, \"frames\": 4, \"delays\": [100, 30, 0, 700], \"plays\": 5}\n]\n");
  EXPECT_EQ(outcome.err,
            "vantrix: cannot read none: no such file\n"
            "vantrix: cannot read text: no picture of a known format\n");
}

TEST_F(Animations, FramesDelaysAndRepetitionsAreKept) {
  const std::string told =
      "\"width\": 4, \"height\": 2, \"frames\": 4, \"delays\": [100, 30, 0, 700], \"plays\": ";
  for (const auto& [repetitions, plays] :
       {std::pair<std::optional<BYTE>, const char*>{std::nullopt, "1"}, {0, "0"}, {1, "2"}}) {
    Write("in.gif", MakeGif(repetitions));
    EXPECT_EQ(Tell("in.gif"), told + plays);
    EXPECT_EQ(SplitAndSpell("in.gif"), spelled_);
    // Each is made of the one before.
    std::string from = "in.gif";
    for (const std::string to : {"first.gif", "second.WebP", "third.webp", "fourth.gif"}) {
      const Outcome outcome = Run({"gif", from, to});
      ASSERT_EQ(outcome.code, 0) << to << outcome.err;
      EXPECT_EQ(Tell(to), told + plays) << to;
      EXPECT_EQ(SplitAndSpell(to), spelled_) << to;
      from = to;
    }
  }

  // A delay that hundredths of a second do not hold moves no later frame.
  std::unique_ptr<Platform::WebpAnimationWriter> writer;
  Platform::Bytes webp;
  ASSERT_EQ(Platform::WebpAnimationWriter::Open(
                [&webp](const BYTE* bytes, std::size_t size) {
                  webp.insert(webp.end(), bytes, bytes + size);
                  return S_OK;
                },
                1, 1, {}, &writer),
            S_OK);
  for (std::size_t i = 0; i < 3; ++i) writer->AddFrame(kColours[i].data(), 4, 33);
  ASSERT_EQ(writer->Finish(), S_OK);
  Write("in.webp", webp);
  EXPECT_EQ(Run({"gif", "in.webp", "out.gif"}).code, 0);
  EXPECT_EQ(Tell("out.gif"),
            "\"width\": 1, \"height\": 1, \"frames\": 3, \"delays\": [30, 40, 30], \"plays\": 0");
}

TEST_F(Animations, EffectsRunOverComposedFrames) {
  Write("in.gif", MakeGif());
  const std::vector<std::string> effects = {"-e", "D2D1GaussianBlur", "-e", "Posterize",
                                            "-s", "Amout=5"};
  const std::vector<Picture> composed = Split("in.gif");
  const std::vector<Picture> drawn = Split("in.gif", effects);
  ASSERT_EQ(composed.size(), spelled_.size());
  ASSERT_EQ(drawn.size(), spelled_.size());
  for (std::size_t i = 0; i < drawn.size(); ++i) {
    WritePng(folder_ / "frame.png", 4, 2, composed[i].Bytes(), GUID_WICPixelFormat32bppPBGRA);
    std::vector<std::string> apply = {"apply", "frame.png", "alone.png"};
    apply.insert(apply.end(), effects.begin(), effects.end());
    EXPECT_EQ(Run(apply).code, 0);
    EXPECT_EQ(Decode(folder_ / "alone.png").pixels, drawn[i].pixels) << i;
    EXPECT_NE(drawn[i].pixels, composed[i].pixels) << i;
  }

  // A folder takes pictures of any format, and keeps what else is in it.
  std::filesystem::create_directories(folder_ / "out.gif");
  std::ofstream(folder_ / "out.gif" / "other") << "kept";
  EXPECT_EQ(Run({"gif", "in.gif", "out.gif", "--format", "tif"}).code, 0);
  EXPECT_EQ(ReadFile(folder_ / "out.gif" / "other"), "kept");
  EXPECT_EQ(Spell(Decode(folder_ / "out.gif" / "frame-0002.tif")), spelled_[1]);
}

TEST_F(Animations, WhatCannotBeReadOrWrittenLosesNothing) {
  Platform::Bytes whole = MakeGif();
  Write("in.gif", whole);
  Store("in.png", DrawScene(4, 2));
  ExpectFailure(1, "none.gif: no such file", {"gif", "none.gif", "out.gif"});
  ExpectFailure(1, "in.png is no animation but a PNG picture", {"gif", "in.png", "out.gif"});
  ExpectFailure(2, "written as .gif or .webp", {"gif", "in.gif", "out.png"});
  ExpectFailure(2, "OUTPUT is empty", {"gif", "in.gif", ""});
  ExpectFailure(2, "pictures in a folder", {"gif", "in.gif", "out.gif", "--format", "png"});
  ExpectFailure(2, "--format tga: expected", {"gif", "in.gif", "out", "--format", "tga"});
  ExpectFailure(2, "no effect Nothing", {"gif", "in.gif", "out", "-e", "Nothing"});
  ExpectFailure(2, "behind the -e", {"gif", "in.gif", "out", "-s", "Amout=1"});
  ExpectFailure(1, "in.png/out: Not a directory", {"gif", "in.gif", "in.png/out"});
  ExpectFailure(1, "cannot write none/out.gif", {"gif", "in.gif", "none/out.gif"});
  std::filesystem::create_symlink("/dev/full", folder_ / "full.gif");
  ExpectFailure(1, "cannot write full.gif: no space is left", {"gif", "in.gif", "full.gif"});
  EXPECT_FALSE(std::filesystem::exists(folder_ / "out"));

  std::ofstream(folder_ / "kept.gif") << "kept";
  std::filesystem::copy(folder_ / "kept.gif", folder_ / "kept.webp");
  EXPECT_EQ(Run({"gif", "in.gif", "whole.webp"}).code, 0);
  std::string webp = ReadFile(folder_ / "whole.webp");
  // Bits that no lossless picture begins with, behind the headers of the second frame: that shows
  // when the first has been written already.
  const std::size_t second = webp.find("ANMF", webp.find("ANMF") + 1);
  ASSERT_NE(second, std::string::npos);
  webp.replace(second + 37, 3, "\xFF\xFF\xFF");
  std::ofstream(folder_ / "bad.webp", std::ios::binary) << webp;
  // The last patch without its pixels.
  whole.resize(whole.size() - 4);
  Write("bad.gif", whole);
  for (const std::string from : {"bad.gif", "bad.webp"}) {
    for (const std::string to : {"kept.gif", "kept.webp"}) {
      ExpectFailure(1, from + ": the picture is damaged", {"gif", from, to});
      EXPECT_EQ(ReadFile(folder_ / to), "kept");
    }
  }
  for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
    EXPECT_NE(entry.path().extension(), ".tmp") << entry.path();
  }

  // A small file of more than can be composed.
  Platform::GifPicture vast;
  vast.width = vast.height = 11000;
  vast.palette = {{0, 0, 0}, {255, 0, 0}};
  vast.frames.assign(40, MakePatch(0, 0, 1, 1, 1, 5, 1));
  Write("vast.gif", EncodeGif(vast));
  ExpectFailure(1, "40 frames of 11000x11000 pixels", {"gif", "vast.gif", "out.gif"});
  WritePng(folder_ / "wide.png", 16384, 1, std::vector<BYTE>(16384 * 4).data(),
           GUID_WICPixelFormat32bppBGRA);
  ExpectFailure(1, "WebP has at most 16383 pixels a side",
                {"apply", "wide.png", "out.webp", "-e", "EInvert"});
}

}  // namespace
}  // namespace Vantra
