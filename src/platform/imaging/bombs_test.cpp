// Small files that ask for much: sizes, frames, directories and tiles. Each is decoded in a process
// of its own, whose memory and processor time are looked at. Those that a decoder's own test has
// are not repeated.

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <optional>
#include <png.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/imaging/test_dds.h"
#include "platform/imaging/test_gifs.h"
#include "platform/imaging/test_jxrs.h"
#include "platform/imaging/test_pictures.h"
#include "platform/imaging/test_tiffs.h"

namespace Vantra::Platform {
namespace {

constexpr unsigned kSide = 64250;

void PutLittle(Bytes* file, std::size_t value, unsigned bytes) {
  for (unsigned i = 0; i < bytes; ++i) file->push_back(static_cast<BYTE>(value >> 8 * i));
}

Bytes Little(std::size_t value, unsigned bytes) {
  Bytes number;
  PutLittle(&number, value, bytes);
  return number;
}

Bytes Big(std::size_t value, unsigned bytes) {
  Bytes number = Little(value, bytes);
  std::reverse(number.begin(), number.end());
  return number;
}

void Overwrite(Bytes* file, std::size_t at, const Bytes& bytes) {
  std::copy(bytes.begin(), bytes.end(), file->begin() + static_cast<std::ptrdiff_t>(at));
}

std::size_t Find(const Bytes& file, const Bytes& bytes) {
  return static_cast<std::size_t>(
      std::search(file.begin(), file.end(), bytes.begin(), bytes.end()) - file.begin());
}

Bytes Png(bool interlaced) {
  Bytes file = EncodePng(MakePng(PngColour::kRgba, 8, 9, 7, interlaced, false));
  Overwrite(&file, 16, Big(kSide, 4));
  Overwrite(&file, 20, Big(kSide, 4));
  RepairPngChecksums(file);
  return file;
}

// Without a mark on it, so that bytes stand for the most pixels.
Bytes EmptyInterlacedPng(unsigned side) {
  Bytes file;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_write_fn(
      png, &file,
      [](png_structp to, png_bytep bytes, std::size_t size) {
        auto* written = static_cast<Bytes*>(png_get_io_ptr(to));
        written->insert(written->end(), bytes, bytes + size);
      },
      nullptr);
  png_set_IHDR(png, info, side, side, 1, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_ADAM7,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  const Bytes row(side / 8 + 1);
  for (int passes = png_set_interlace_handling(png); passes > 0; --passes) {
    for (unsigned y = 0; y < side; ++y) png_write_row(png, row.data());
  }
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return file;
}

Bytes Jpeg(JpegCoding coding) {
  Bytes file = EncodeJpeg(MakeJpeg(JpegColour::kYCbCr, coding, 24, 40));
  const BYTE marker = coding == JpegCoding::kProgressive ? 0xC2 : 0xC0;
  const std::size_t at = Find(file, {0xFF, marker});
  Overwrite(&file, at + 5, Big(kSide, 2));
  Overwrite(&file, at + 7, Big(kSide, 2));
  return file;
}

Bytes Bmp(unsigned bits) {
  Bytes file = EncodeBmp(MakeBmp(bits, 9, 7, false, false));
  Overwrite(&file, 18, Little(kSide, 4));
  Overwrite(&file, 22, Little(kSide, 4));
  return file;
}

Bytes Gif(bool screen) {
  GifPicture made;
  made.palette = MakeGifPalette(2, 1);
  made.frames = {MakeGifPatch(2, 1, 1, false)};
  Bytes file = EncodeGif(made);
  const std::size_t at = screen ? 6 : 13 + 6 + 5;
  Overwrite(&file, at, Little(kSide, 2));
  Overwrite(&file, at + 2, Little(kSide, 2));
  return file;
}

Bytes Dds(unsigned format) { return EncodeDds(MakeDxgi(format, kSide, kSide, Bytes(64))); }

Bytes Jxr(bool tiles) {
  JxrPicture picture;
  picture.format = JxrFormat(0x0D);
  picture.width = 64;
  picture.height = 48;
  picture.samples.resize(std::size_t{64} * 48 * 3);
  picture.tiles_across = tiles ? 3 : 1;
  Bytes file = EncodeJxr(picture);
  const std::size_t at = Find(file, {'W', 'M', 'P', 'H', 'O', 'T', 'O', 0}) + 12;
  if (tiles) {
    Overwrite(&file, at + 4, {0xFF, 0xFF, 0xFF});  // 4096 each way
  } else {
    Overwrite(&file, at, Big(kSide - 1, 2));
    Overwrite(&file, at + 2, Big(kSide - 1, 2));
  }
  return file;
}

struct TiffEntry {
  unsigned tag;
  unsigned type;
  std::size_t value;
};

void PutDirectory(Bytes* file, const std::vector<TiffEntry>& entries, std::size_t next) {
  PutLittle(file, entries.size(), 2);
  for (const TiffEntry& entry : entries) {
    PutLittle(file, entry.tag, 2);
    PutLittle(file, entry.type, 2);
    PutLittle(file, 1, 4);
    PutLittle(file, entry.value, 4);
  }
  PutLittle(file, next, 4);
}

// A grey picture of one strip of zeros, with more entries, and the place of the next directory.
Bytes Tiff(unsigned side, const std::vector<TiffEntry>& more, std::size_t next) {
  Bytes file = {'I', 'I', 42, 0, 8, 0, 0, 0};
  std::vector<TiffEntry> entries = {
      {TIFFTAG_IMAGEWIDTH, TIFF_LONG, side},
      {TIFFTAG_IMAGELENGTH, TIFF_LONG, side},
      {TIFFTAG_BITSPERSAMPLE, TIFF_SHORT, 8},
      {TIFFTAG_COMPRESSION, TIFF_SHORT, COMPRESSION_NONE},
      {TIFFTAG_PHOTOMETRIC, TIFF_SHORT, PHOTOMETRIC_MINISBLACK},
      {TIFFTAG_STRIPOFFSETS, TIFF_LONG, 8},
      {TIFFTAG_ROWSPERSTRIP, TIFF_LONG, side},
      {TIFFTAG_STRIPBYTECOUNTS, TIFF_LONG, std::size_t{side} * side},
  };
  entries.insert(entries.end(), more.begin(), more.end());
  PutDirectory(&file, entries, next);
  return file;
}

// One tile of 32 Mi pixels of four zeros each, as repeated bytes in Zstandard.
Bytes TiffOfOneTile() {
  constexpr unsigned kAcross = 4096;
  constexpr unsigned kDown = 8192;
  constexpr unsigned kBlockBytes = 1 << 17;
  constexpr unsigned kBlocks = kAcross * kDown / kBlockBytes * 4;
  Bytes data = {0x28, 0xB5, 0x2F, 0xFD, 0x00, 0x38};  // a frame with a window of one block
  for (unsigned i = 0; i < kBlocks; ++i) {
    const unsigned last = i + 1 == kBlocks ? 1 : 0;
    constexpr unsigned kRepeated = 1 << 1;
    PutLittle(&data, kBlockBytes << 3 | kRepeated | last, 3);
    data.push_back(0);
  }
  Bytes file = {'I', 'I', 42, 0, 8, 0, 0, 0};
  constexpr std::size_t kEntries = 10;
  PutDirectory(&file,
               {{TIFFTAG_IMAGEWIDTH, TIFF_LONG, kAcross},
                {TIFFTAG_IMAGELENGTH, TIFF_LONG, kDown},
                {TIFFTAG_BITSPERSAMPLE, TIFF_SHORT, 8},
                {TIFFTAG_COMPRESSION, TIFF_SHORT, COMPRESSION_ZSTD},
                {TIFFTAG_PHOTOMETRIC, TIFF_SHORT, PHOTOMETRIC_RGB},
                {TIFFTAG_SAMPLESPERPIXEL, TIFF_SHORT, 4},
                {TIFFTAG_TILEWIDTH, TIFF_LONG, kAcross},
                {TIFFTAG_TILELENGTH, TIFF_LONG, kDown},
                {TIFFTAG_TILEOFFSETS, TIFF_LONG, 8 + 2 + kEntries * 12 + 4},
                {TIFFTAG_TILEBYTECOUNTS, TIFF_LONG, data.size()}},
               0);
  file.insert(file.end(), data.begin(), data.end());
  return file;
}

// Directories behind one another that all have the first one's entries for their pictures.
Bytes TiffOfPages(unsigned pages, bool in_a_circle) {
  Bytes file = {'I', 'I', 42, 0, 8, 0, 0, 0};
  constexpr std::size_t kBytes = 2 + 12 + 4;
  for (unsigned i = 0; i < pages; ++i) {
    const bool last = i + 1 == pages;
    const std::size_t next = last ? (in_a_circle ? 8 : 0) : 8 + (i + 1) * kBytes;
    PutDirectory(&file, {{TIFFTAG_IMAGEWIDTH, TIFF_SHORT, 1}}, next);
  }
  return file;
}

Bytes WebpChunk(const char* name, const Bytes& data) {
  Bytes chunk(name, name + 4);
  PutLittle(&chunk, data.size(), 4);
  chunk.insert(chunk.end(), data.begin(), data.end());
  if (data.size() % 2 != 0) chunk.push_back(0);
  return chunk;
}

// A lossless picture of one colour: its signature, its size and codes of one symbol each.
Bytes WebpPicture(unsigned side) {
  Bytes data = {0x2F};
  PutLittle(&data, (side - 1) | (side - 1) << 14, 4);
  data.insert(data.end(), {0x88, 0x88, 0x08});
  return WebpChunk("VP8L", data);
}

Bytes StillWebp(unsigned side) {
  Bytes body = {'W', 'E', 'B', 'P'};
  const Bytes picture = WebpPicture(side);
  body.insert(body.end(), picture.begin(), picture.end());
  return WebpChunk("RIFF", body);
}

// An animation on a canvas of that side, of frames of one pixel.
Bytes Webp(unsigned side, unsigned frames) {
  Bytes canvas = {2, 0, 0, 0};
  PutLittle(&canvas, side - 1, 3);
  PutLittle(&canvas, side - 1, 3);
  Bytes frame(16);  // at 0, 0, of one pixel, for no time
  const Bytes data = WebpPicture(1);
  frame.insert(frame.end(), data.begin(), data.end());
  Bytes body = {'W', 'E', 'B', 'P'};
  const auto add = [&body](const Bytes& chunk) {
    body.insert(body.end(), chunk.begin(), chunk.end());
  };
  add(WebpChunk("VP8X", canvas));
  add(WebpChunk("ANIM", Bytes(6)));
  const Bytes repeated = WebpChunk("ANMF", frame);
  for (unsigned i = 0; i < frames; ++i) add(repeated);
  return WebpChunk("RIFF", body);
}

struct Outcome {
  HRESULT opened = E_UNEXPECTED;
  HRESULT frame = E_UNEXPECTED;
  HRESULT copied = E_UNEXPECTED;
  UINT frames = 0;
  long kilobytes = 0;
  double seconds = 0;

  bool Refused() const { return FAILED(opened) || FAILED(frame) || FAILED(copied); }
};

// Opens the file and copies the last pixel of the last frame, for which most has to be decoded.
void Decode(const Bytes& file, Outcome* outcome) {
  CComPtr<IWICBitmapDecoder> decoder;
  outcome->opened = MakeFactory()->CreateDecoderFromStream(
      MakeStream(file), nullptr, WICDecodeMetadataCacheOnDemand, &decoder);
  if (FAILED(outcome->opened)) return;
  decoder->GetFrameCount(&outcome->frames);
  CComPtr<IWICBitmapFrameDecode> frame;
  outcome->frame = decoder->GetFrame(outcome->frames - 1, &frame);
  if (FAILED(outcome->frame)) return;
  UINT width = 0;
  UINT height = 0;
  frame->GetSize(&width, &height);
  const WICRect corner{static_cast<INT>(width - 1), static_cast<INT>(height - 1), 1, 1};
  BYTE pixel[4];
  outcome->copied = frame->CopyPixels(&corner, sizeof pixel, sizeof pixel, pixel);
}

// Of this process, and of those that it has waited for.
rusage Usage(bool of_children) {
  rusage usage{};
  getrusage(of_children ? RUSAGE_CHILDREN : RUSAGE_SELF, &usage);
  return usage;
}

double SecondsOf(const rusage& usage) {
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
}

std::optional<Outcome> DecodeApart(const Bytes& file) {
  int ends[2];
  if (pipe(ends) != 0) return std::nullopt;
  const pid_t process = fork();
  if (process == 0) {
    const rusage before = Usage(false);
    Outcome outcome;
    Decode(file, &outcome);
    const rusage self = Usage(false);
    const rusage children = Usage(true);
    outcome.kilobytes = std::max(self.ru_maxrss, children.ru_maxrss) - before.ru_maxrss;
    outcome.seconds = SecondsOf(self) - SecondsOf(before) + SecondsOf(children);
    const bool sent = write(ends[1], &outcome, sizeof outcome) == sizeof outcome;
    _exit(sent ? 0 : 1);
  }
  close(ends[1]);
  Outcome outcome;
  const bool received = process > 0 && read(ends[0], &outcome, sizeof outcome) == sizeof outcome;
  close(ends[0]);
  if (process > 0) waitpid(process, nullptr, 0);
  return received ? std::optional(outcome) : std::nullopt;
}

TEST(Bombs, AreRefusedOrReadInLittleTimeAndMemory) {
  constexpr HRESULT kTooLarge = WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
  constexpr std::size_t kItself = 8;
  constexpr unsigned kLegalSide = 11500;
  const struct {
    const char* name;
    Bytes file;
    // `S_OK` where it does no harm to read it.
    HRESULT expected;
  } kBombs[] = {
      {"PNG", Png(false), kTooLarge},
      {"PNG interlaced", Png(true), kTooLarge},
      {"PNG interlaced without a mark", EmptyInterlacedPng(6200), WINCODEC_ERR_BADIMAGE},
      {"JPEG", Jpeg(JpegCoding::kSequential), kTooLarge},
      {"JPEG progressive", Jpeg(JpegCoding::kProgressive), kTooLarge},
      {"BMP 1", Bmp(1), kTooLarge},
      {"BMP 24", Bmp(24), kTooLarge},
      {"GIF screen", Gif(true), kTooLarge},
      {"GIF frame", Gif(false), kTooLarge},
      {"DDS 8888", Dds(28), kTooLarge},
      {"DDS BC7", Dds(98), kTooLarge},
      {"HD Photo", Jxr(false), kTooLarge},
      {"HD Photo of 4096 by 4096 tiles", Jxr(true), kTooLarge},
      {"TIFF", Tiff(kSide, {}, 0), kTooLarge},
      {"TIFF of a legal size", Tiff(kLegalSide, {}, 0), WINCODEC_ERR_BADIMAGE},
      {"TIFF within itself", Tiff(2, {{TIFFTAG_SUBIFD, TIFF_IFD, kItself}}, 0), S_OK},
      {"TIFF whose camera's notes are itself", Tiff(2, {{TIFFTAG_EXIFIFD, TIFF_IFD, kItself}}, 0),
       S_OK},
      {"TIFF of two pages in a circle", TiffOfPages(2, true), WINCODEC_ERR_BADHEADER},
      {"TIFF of 100 pages in a circle", TiffOfPages(100, true), WINCODEC_ERR_BADHEADER},
      {"TIFF of 20000 pages", TiffOfPages(20000, false), WINCODEC_ERR_BADHEADER},
      {"TIFF of one tile", TiffOfOneTile(), kTooLarge},
      {"WebP of one colour", StillWebp(4096), S_OK},
      {"WebP of one colour and a legal size", StillWebp(5700), kTooLarge},
      {"WebP", Webp(kSide, 1), kTooLarge},
      {"WebP of 100000 frames", Webp(1, 100000), kTooLarge},
      {"WebP of as many frames as may be", Webp(1, WIC_MAXIMUM_FRAMES), S_OK},
      {"WebP of frames on a large canvas", Webp(8000, 60), kTooLarge},
      {"WebP of many frames on the largest canvas", Webp(4096, 65), kTooLarge},
      {"WebP of a few frames on the largest canvas", Webp(4096, 64), S_OK},
  };
  for (const auto& [name, file, expected] : kBombs) {
    SCOPED_TRACE(name);
    const std::optional<Outcome> outcome = DecodeApart(file);
    ASSERT_TRUE(outcome);
    const HRESULT result = FAILED(outcome->opened)  ? outcome->opened
                           : FAILED(outcome->frame) ? outcome->frame
                                                    : outcome->copied;
    EXPECT_EQ(result, expected) << std::hex << static_cast<UINT>(result);
    EXPECT_LT(outcome->kilobytes, 256 * 1024);
    // Of the processor. A tenth of that is what is expected without sanitizers.
    EXPECT_LT(outcome->seconds, 5.0);
  }
}

}  // namespace
}  // namespace Vantra::Platform
