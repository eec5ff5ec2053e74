#include "platform/imaging/test_frames.h"

namespace Vantra::Platform {

DecodedFrame DecodeFrame(std::span<const BYTE> file, UINT index, const WICPixelFormatGUID& format,
                         UINT64 most_pixels) {
  DecodedFrame decoded;
  const auto factory = MakeFactory();
  CComPtr<IWICBitmapDecoder> decoder;
  decoded.opened = factory->CreateDecoderFromStream(MakeStream(file), nullptr,
                                                    WICDecodeMetadataCacheOnDemand, &decoder);
  if (FAILED(decoded.opened)) return decoded;
  decoder->GetFrameCount(&decoded.count);
  CComPtr<IWICBitmapFrameDecode> frame;
  decoded.frame = decoder->GetFrame(index, &frame);
  if (FAILED(decoded.frame)) return decoded;
  frame->GetSize(&decoded.width, &decoded.height);
  if (UINT64{decoded.width} * decoded.height > most_pixels) return decoded;
  CComPtr<IWICFormatConverter> converter;
  factory->CreateFormatConverter(&converter);
  converter->Initialize(frame, format, WICBitmapDitherTypeNone, nullptr, 0,
                        WICBitmapPaletteTypeCustom);
  // What the decoder must fill or zero is neither to begin with.
  constexpr BYTE kUntouched = 0xA5;
  decoded.pixels.assign(std::size_t{decoded.width} * decoded.height * 4, kUntouched);
  decoded.copied = converter->CopyPixels(
      nullptr, decoded.width * 4, static_cast<UINT>(decoded.pixels.size()), decoded.pixels.data());
  return decoded;
}

Bytes EncodeRgba(const GUID& container, UINT width, UINT height, Bytes pixels) {
  // More than any encoder makes of noise.
  Bytes file(pixels.size() * 2 + 65536);
  const auto factory = MakeFactory();
  CComPtr<IWICStream> stream;
  CComPtr<IWICBitmapEncoder> encoder;
  CComPtr<IWICBitmapFrameEncode> frame;
  WICPixelFormatGUID format = GUID_WICPixelFormat32bppRGBA;
  ULARGE_INTEGER end{};
  const bool written =
      SUCCEEDED(factory->CreateStream(&stream)) &&
      SUCCEEDED(stream->InitializeFromMemory(file.data(), static_cast<DWORD>(file.size()))) &&
      SUCCEEDED(factory->CreateEncoder(container, nullptr, &encoder)) &&
      SUCCEEDED(encoder->Initialize(stream, WICBitmapEncoderNoCache)) &&
      SUCCEEDED(encoder->CreateNewFrame(&frame, nullptr)) &&
      SUCCEEDED(frame->Initialize(nullptr)) && SUCCEEDED(frame->SetSize(width, height)) &&
      SUCCEEDED(frame->SetPixelFormat(&format)) &&
      SUCCEEDED(
          frame->WritePixels(height, width * 4, static_cast<UINT>(pixels.size()), pixels.data())) &&
      SUCCEEDED(frame->Commit()) && SUCCEEDED(encoder->Commit()) &&
      SUCCEEDED(stream->Seek({0}, STREAM_SEEK_CUR, &end));
  file.resize(written ? end.QuadPart : 0);
  return file;
}

}  // namespace Vantra::Platform
