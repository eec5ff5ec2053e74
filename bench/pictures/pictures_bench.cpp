// What picture files cost: 1920 x 1080 pixels to premultiplied BGRA and back, through the
// interfaces that a host uses, beside the bare libraries and plain copies. Both sides run in turn,
// and their medians are compared:
//   ours_ms, theirs_ms  processor time, of other processes that a side starts as well, so that
//                       what else the machine does counts little
//   ratio               of ours to theirs
//   limit, holds        what the ratio may be at most, where there is such a limit
// The bare libraries decode to what they give at the least cost, such as RGB, and encode what our
// encoders write. What is all our own is compared with a plain copy of the pixels.

#include "bench/pictures/pictures_bench.h"

#include <vantrix/platform/wincodec.h>

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <sys/resource.h>

#include "bench/measure.h"
#include "bench/pictures/bare_coders.h"
#include "platform/imaging/gif_writer.h"

namespace Vantra::Bench {
namespace {

constexpr std::size_t kPictureBytes = std::size_t{kPictureWidth} * kPictureHeight * 4;
constexpr double kDecodingLimit = 1.15;

void Require(HRESULT result) {
  if (FAILED(result)) throw std::runtime_error("a picture is not decoded or encoded");
}

CComPtr<IWICImagingFactory2> MakeFactory() {
  CComPtr<IWICImagingFactory2> factory;
  Require(CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER,
                           IID_PPV_ARGS(&factory)));
  return factory;
}

CComPtr<IWICStream> MakeStream(IWICImagingFactory2* factory, unsigned char* bytes,
                               std::size_t size) {
  CComPtr<IWICStream> stream;
  Require(factory->CreateStream(&stream));
  Require(stream->InitializeFromMemory(bytes, static_cast<DWORD>(size)));
  return stream;
}

// Decodes all frames, one over the other.
void Decode(Bytes& file, Bytes* pixels) {
  const auto factory = MakeFactory();
  const auto stream = MakeStream(factory, file.data(), file.size());
  CComPtr<IWICBitmapDecoder> decoder;
  UINT frames = 0;
  Require(
      factory->CreateDecoderFromStream(stream, nullptr, WICDecodeMetadataCacheOnDemand, &decoder));
  Require(decoder->GetFrameCount(&frames));
  for (UINT i = 0; i < frames; ++i) {
    CComPtr<IWICBitmapFrameDecode> frame;
    CComPtr<IWICFormatConverter> converter;
    UINT width = 0;
    UINT height = 0;
    Require(decoder->GetFrame(i, &frame));
    Require(frame->GetSize(&width, &height));
    Require(factory->CreateFormatConverter(&converter));
    Require(converter->Initialize(frame, GUID_WICPixelFormat32bppPBGRA, WICBitmapDitherTypeNone,
                                  nullptr, 0, WICBitmapPaletteTypeCustom));
    pixels->resize(std::size_t{width} * height * 4);
    Require(converter->CopyPixels(nullptr, width * 4, static_cast<UINT>(pixels->size()),
                                  pixels->data()));
  }
}

// `file` is as large as any file of these pixels, and stays so.
std::size_t Encode(const GUID& container, const Bytes& pixels, Bytes* file) {
  const auto factory = MakeFactory();
  const auto stream = MakeStream(factory, file->data(), file->size());
  CComPtr<IWICBitmapEncoder> encoder;
  CComPtr<IWICBitmapFrameEncode> frame;
  WICPixelFormatGUID format = GUID_WICPixelFormat32bppBGRA;
  ULARGE_INTEGER end{};
  Require(factory->CreateEncoder(container, nullptr, &encoder));
  Require(encoder->Initialize(stream, WICBitmapEncoderNoCache));
  Require(encoder->CreateNewFrame(&frame, nullptr));
  Require(frame->Initialize(nullptr));
  Require(frame->SetSize(kPictureWidth, kPictureHeight));
  Require(frame->SetPixelFormat(&format));
  Require(frame->WritePixels(kPictureHeight, kPictureWidth * 4, static_cast<UINT>(pixels.size()),
                             const_cast<BYTE*>(pixels.data())));
  Require(frame->Commit());
  Require(encoder->Commit());
  Require(stream->Seek({0}, STREAM_SEEK_CUR, &end));
  return end.QuadPart;
}

// Of this process and of those that it has waited for.
double ProcessorSeconds() {
  double seconds = 0;
  for (const auto who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage usage{};
    getrusage(who, &usage);
    for (const timeval& time : {usage.ru_utime, usage.ru_stime}) {
      seconds += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    }
  }
  return seconds;
}

using Work = std::function<void()>;

struct Sides {
  Work ours;
  Work theirs;
};

double Median(std::vector<double>* times) {
  const auto middle = times->begin() + static_cast<std::ptrdiff_t>(times->size() / 2);
  std::nth_element(times->begin(), middle, times->end());
  return *middle;
}

// `limit` is 0 for none.
void Compare(benchmark::State& state, const std::function<Sides()>& make, double limit) {
  try {
    const Sides sides = make();
    std::vector<double> ours;
    std::vector<double> theirs;
    sides.ours();
    sides.theirs();
    for (auto _ : state) {
      const Clock::time_point start = Clock::now();
      const double begin = ProcessorSeconds();
      sides.ours();
      const double between = ProcessorSeconds();
      state.SetIterationTime(Seconds(Clock::now() - start));
      sides.theirs();
      ours.push_back(between - begin);
      theirs.push_back(ProcessorSeconds() - between);
    }
    const double our_median = Median(&ours);
    const double their_median = Median(&theirs);
    const double ratio = our_median / their_median;
    state.counters["ours_ms"] = our_median * 1e3;
    state.counters["theirs_ms"] = their_median * 1e3;
    state.counters["ratio"] = ratio;
    if (limit != 0) {
      state.counters["limit"] = limit;
      state.counters["holds"] = ratio <= limit ? 1 : 0;
    }
  } catch (const std::exception& error) {
    state.SkipWithError(error.what());
  }
}

void Register(const std::string& name, double limit, const std::function<Sides()>& make) {
  benchmark::RegisterBenchmark(name.c_str(),
                               [=](benchmark::State& state) { Compare(state, make, limit); })
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
}

Work DecodeByUs(Bytes file) {
  const auto kept = std::make_shared<Bytes>(std::move(file));
  return [kept, pixels = std::make_shared<Bytes>()] { Decode(*kept, pixels.get()); };
}

Work EncodeByUs(const GUID& container, bool with_alpha) {
  const auto pixels = std::make_shared<Bytes>(DrawPhotograph(with_alpha));
  const auto file = std::make_shared<Bytes>(kPictureBytes * 2);
  return [=] { Encode(container, *pixels, file.get()); };
}

Work Copy() {
  const auto from = std::make_shared<Bytes>(kPictureBytes, static_cast<unsigned char>(1));
  const auto to = std::make_shared<Bytes>(kPictureBytes);
  return [=] {
    std::memcpy(to->data(), from->data(), kPictureBytes);
    benchmark::ClobberMemory();
  };
}

void RegisterBare(const BareCoder& coder, const GUID& container) {
  Register("Pictures/decode " + coder.name, kDecodingLimit, [coder]() -> Sides {
    const auto file = std::make_shared<Bytes>(coder.encode(DrawPhotograph(coder.with_alpha)));
    return {DecodeByUs(*file),
            [=, pixels = std::make_shared<Bytes>()] { coder.decode(*file, pixels.get()); }};
  });
  if (!coder.as_ours) return;
  Register("Pictures/encode " + coder.name, 0, [coder, container]() -> Sides {
    const auto pixels = std::make_shared<Bytes>(DrawPhotograph(coder.with_alpha));
    return {EncodeByUs(container, coder.with_alpha), [=] { coder.encode(*pixels); }};
  });
}

Bytes EncodeAs(const GUID& container) {
  Bytes file(kPictureBytes * 2);
  file.resize(Encode(container, DrawPhotograph(false), &file));
  return file;
}

// An animation whose every frame is another part of the photograph.
Bytes EncodeAnimation(UINT frames, UINT side) {
  using namespace Platform;
  Bytes file;
  std::unique_ptr<GifWriter> writer;
  const auto sink = [&file](const BYTE* bytes, std::size_t size) -> HRESULT {
    file.insert(file.end(), bytes, bytes + size);
    return S_OK;
  };
  Require(GifWriter::Open(sink, side, side, WORD{0}, &writer));
  const Bytes pixels = DrawPhotograph(false);
  for (UINT i = 0; i < frames; ++i) {
    const std::size_t first =
        std::size_t{i % 30 * side} + std::size_t{i / 30 * side} * kPictureWidth;
    Require(writer->AddFrame({.pixels = &pixels[first * 4],
                              .stride = std::size_t{kPictureWidth} * 4,
                              .width = side,
                              .height = side,
                              .delay = 4}));
  }
  Require(writer->Finish());
  return file;
}

void RegisterGif(const std::string& name, const std::function<Bytes()>& make) {
  Register("Pictures/decode " + name, kDecodingLimit, [make]() -> Sides {
    const auto file = std::make_shared<Bytes>(make());
    return {DecodeByUs(*file),
            [=, pixels = std::make_shared<Bytes>()] { DecodeBareGif(*file, pixels.get()); }};
  });
}

// A file of the extended header and of data without pattern.
Bytes MakeDds(std::uint32_t dxgi_format, std::size_t bytes) {
  constexpr std::uint32_t kHead[] = {0x20534444, 124, 0x1007, kPictureHeight, kPictureWidth};
  constexpr std::size_t kPixelFormat = 76;
  constexpr std::uint32_t kExtended[] = {32, 4, 0x30315844};
  constexpr std::size_t kExtension = 128;
  constexpr std::uint32_t kTexture = 3;
  const std::uint32_t extension[] = {dxgi_format, kTexture, 0, 1, 0};
  Bytes file(kExtension + sizeof extension);
  std::memcpy(file.data(), kHead, sizeof kHead);
  std::memcpy(&file[kPixelFormat], kExtended, sizeof kExtended);
  std::memcpy(&file[kExtension], extension, sizeof extension);
  std::minstd_rand random(1);
  for (std::size_t i = 0; i < bytes; ++i) {
    file.push_back(static_cast<unsigned char>(random() >> 16));
  }
  return file;
}

Bytes MakeBmp24() {
  constexpr std::size_t kHeader = 54;
  constexpr std::size_t kData = kPictureBytes / 4 * 3;
  Bytes file(kHeader);
  const auto put = [&file](std::size_t at, std::uint32_t value) {
    std::memcpy(&file[at], &value, sizeof value);
  };
  file[0] = 'B';
  file[1] = 'M';
  put(2, kHeader + kData);
  put(10, kHeader);
  put(14, 40);
  put(18, kPictureWidth);
  put(22, kPictureHeight);
  put(26, 1 | 24 << 16);
  const Bytes pixels = DrawPhotograph(false);
  for (std::size_t i = 0; i < kPictureBytes; i += 4) {
    file.insert(file.end(), &pixels[i], &pixels[i] + 3);
  }
  return file;
}

void RegisterOwn(const std::string& name, const std::function<Bytes()>& make) {
  Register("Pictures/decode " + name, 0, [make]() -> Sides {
    return {DecodeByUs(make()), Copy()};
  });
}

}  // namespace

void RegisterPictureBenchmarks() {
  RegisterBare(BarePng(false), GUID_ContainerFormatPng);
  RegisterBare(BarePng(true), GUID_ContainerFormatPng);
  RegisterBare(BareJpeg(true), GUID_ContainerFormatJpeg);
  RegisterBare(BareJpeg(false), GUID_ContainerFormatJpeg);
  RegisterBare(BareTiff(TiffKind::kPlain), GUID_ContainerFormatTiff);
  RegisterBare(BareTiff(TiffKind::kDeflate), GUID_ContainerFormatTiff);
  RegisterBare(BareTiff(TiffKind::kLzw), GUID_ContainerFormatTiff);
  RegisterBare(BareWebp(false), GUID_ContainerFormatWebp);
  RegisterBare(BareWebp(true), GUID_ContainerFormatWebp);
  RegisterBare(BareJxr(), GUID_ContainerFormatWmp);
  RegisterGif("GIF", [] { return EncodeAs(GUID_ContainerFormatGif); });
  RegisterGif("GIF 400 of 64x64", [] { return EncodeAnimation(400, 64); });
  // The library is given indices, ours has to choose the colours first.
  Register("Pictures/encode GIF", 0, []() -> Sides {
    const Bytes pixels = DrawPhotograph(false);
    const auto indices = std::make_shared<Bytes>();
    for (std::size_t i = 1; i < pixels.size(); i += 4) indices->push_back(pixels[i]);
    return {EncodeByUs(GUID_ContainerFormatGif, false), [=] { EncodeBareGif(*indices); }};
  });

  constexpr std::size_t kPixels = kPictureBytes / 4;
  constexpr std::uint32_t kRgba = 28;
  constexpr std::uint32_t kBc1 = 71;
  constexpr std::uint32_t kBc7 = 98;
  RegisterOwn("BMP 24", MakeBmp24);
  RegisterOwn("DDS 8888", [] { return MakeDds(kRgba, kPictureBytes); });
  RegisterOwn("DDS BC1", [] { return MakeDds(kBc1, kPixels / 2); });
  RegisterOwn("DDS BC7", [] { return MakeDds(kBc7, kPixels); });
  Register("Pictures/encode BMP", 0, []() -> Sides {
    return {EncodeByUs(GUID_ContainerFormatBmp, true), Copy()};
  });
  Register("Pictures/encode DDS", 0, []() -> Sides {
    return {EncodeByUs(GUID_ContainerFormatDds, true), Copy()};
  });
}

}  // namespace Vantra::Bench
