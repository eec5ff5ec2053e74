// Apart from the other libraries, since the headers of this one define words of common use.

#include <stdexcept>

#include "bench/pictures/bare_coders.h"

// Last.
#include <JXRGlue.h>

namespace Vantra::Bench {
namespace {

constexpr std::size_t kBytes = std::size_t{kPictureWidth} * kPictureHeight * 4;

void Require(ERR result, const char* what) {
  if (result != WMP_errSuccess) throw std::runtime_error(what);
}

Bytes Encode(const Bytes& pixels) {
  Bytes file(kBytes * 2);
  WMPStream* stream = nullptr;
  PKImageEncode* encoder = nullptr;
  Require(CreateWS_Memory(&stream, file.data(), file.size()), "CreateWS_Memory");
  Require(PKImageEncode_Create_WMP(&encoder), "PKImageEncode_Create_WMP");
  CWMIStrCodecParam parameters{};
  parameters.cfColorFormat = YUV_444;
  parameters.bdBitDepth = BD_LONG;
  parameters.bfBitstreamFormat = SPATIAL;
  parameters.olOverlap = OL_NONE;
  parameters.sbSubband = SB_ALL;
  parameters.uAlphaMode = 2;
  parameters.uiDefaultQPIndex = 1;
  parameters.uiDefaultQPIndexAlpha = 1;
  Require(encoder->Initialize(encoder, stream, &parameters, sizeof parameters), "Initialize");
  // Without loss in the alpha as well.
  encoder->WMP.wmiSCP_Alpha.uiDefaultQPIndex = 1;
  Require(encoder->SetPixelFormat(encoder, GUID_PKPixelFormat32bppBGRA), "SetPixelFormat");
  Require(encoder->SetSize(encoder, kPictureWidth, kPictureHeight), "SetSize");
  Require(encoder->WritePixels(encoder, kPictureHeight, const_cast<U8*>(pixels.data()),
                               kPictureWidth * 4),
          "WritePixels");
  // The stream stands in the header by now; the alpha is what comes last.
  const auto size = static_cast<std::size_t>(encoder->WMP.nOffAlpha + encoder->WMP.nCbAlpha);
  encoder->Release(&encoder);
  file.resize(size);
  return file;
}

void Decode(std::span<const unsigned char> file, Bytes* pixels) {
  WMPStream* stream = nullptr;
  PKImageDecode* decoder = nullptr;
  Require(CreateWS_Memory(&stream, const_cast<unsigned char*>(file.data()), file.size()),
          "CreateWS_Memory");
  Require(PKImageDecode_Create_WMP(&decoder), "PKImageDecode_Create_WMP");
  Require(decoder->Initialize(decoder, stream), "Initialize");
  decoder->WMP.wmiSCP.uAlphaMode = 2;
  pixels->resize(kBytes);
  const PKRect all = {0, 0, kPictureWidth, kPictureHeight};
  Require(decoder->Copy(decoder, &all, pixels->data(), kPictureWidth * 4), "Copy");
  decoder->Release(&decoder);
  CloseWS_Memory(&stream);
}

}  // namespace

BareCoder BareJxr() { return {"HD Photo", true, Encode, Decode, true}; }

}  // namespace Vantra::Bench
