#include "platform/imaging/jpeg_decoder.h"

#include <csetjmp>
#include <cstdio>

// The library has a type of this name, of another size than the contract's.
#define INT32 JpegInt32
#include <jpeglib.h>
#undef INT32

#include <jerror.h>

namespace Vantra::Platform {
namespace {

constexpr BYTE kSignature[] = {0xFF, 0xD8, 0xFF};

// A block of 8 by 8 takes one bit at least in Huffman codes. Arithmetic coding has no such bound;
// one that is met by all but empty pictures keeps a few bytes from being worth any number of
// pixels.
constexpr UINT64 kMostHuffmanBlocksPerByte = 8;
constexpr UINT64 kMostArithmeticBlocksPerByte = 128;

// What the library reports as a warning though all pixels are there.
bool IsHarmless(int message) {
  switch (message) {
    case JWRN_ADOBE_XFORM:
    case JWRN_BOGUS_ICC:
    case JWRN_EXTRANEOUS_DATA:
    case JWRN_JFIF_MAJOR:
    case JWRN_NOT_SEQUENTIAL:
      return true;
    default:
      return false;
  }
}

BYTE Multiply(unsigned a, unsigned b) { return static_cast<BYTE>((a * b + 127) / 255); }

class JpegReader final : public PictureReader {
 public:
  explicit JpegReader(StreamReader& stream) : stream_(stream) {}
  ~JpegReader() override { jpeg_destroy_decompress(&jpeg_); }

  HRESULT Open();
  PixelLayout Layout() const override {
    return {.blue_first = true, .premultiplied = false, .opaque = true};
  }
  HRESULT ReadRow(BYTE* row) override;
  HRESULT Finish() override;

 private:
  // The library reports an error by a jump to here. `steps` may hold nothing that has a destructor.
  template <class Steps>
  bool Run(Steps steps) {
    if (setjmp(jump_) != 0) return false;
    steps();
    return true;
  }

  static JpegReader& Of(void* jpeg) {
    return *static_cast<JpegReader*>(static_cast<j_common_ptr>(jpeg)->client_data);
  }
  [[noreturn]] static void OnError(j_common_ptr jpeg) { std::longjmp(Of(jpeg).jump_, 1); }
  static void OnMessage(j_common_ptr jpeg, int level);
  static void OnStart(j_decompress_ptr) {}
  static boolean OnMoreInput(j_decompress_ptr jpeg);
  static void OnSkip(j_decompress_ptr jpeg, long size);
  static void OnProgress(j_common_ptr jpeg);

  HRESULT Start();
  bool CanBeComplete();
  bool HasAllComponents() const;
  void ConvertFromCmyk(BYTE* row) const;

  // The cause of a failure: `otherwise`, unless it lies outside the file's content.
  HRESULT Cause(HRESULT otherwise) const {
    if (FAILED(stream_.Failure())) return stream_.Failure();
    if (errors_.msg_code == JERR_OUT_OF_MEMORY) return E_OUTOFMEMORY;
    return errors_.msg_code == JERR_IMAGE_TOO_BIG ? WINCODEC_ERR_IMAGESIZEOUTOFRANGE : otherwise;
  }

  StreamReader& stream_;
  jpeg_decompress_struct jpeg_{};
  jpeg_error_mgr errors_{};
  jpeg_source_mgr source_{};
  jpeg_progress_mgr progress_{};
  std::jmp_buf jump_;
  bool several_scans_ = false;
  bool started_ = false;
};

void JpegReader::OnMessage(j_common_ptr jpeg, int level) {
  constexpr int kWarning = -1;
  if (level != kWarning || IsHarmless(jpeg->err->msg_code)) return;
  JpegReader& reader = Of(jpeg);
  // From here on a sequential picture is grey or noise.
  if (!reader.several_scans_) OnError(jpeg);
  reader.damage_ = reader.Cause(WINCODEC_ERR_BADIMAGE);
}

boolean JpegReader::OnMoreInput(j_decompress_ptr jpeg) {
  static constexpr JOCTET kEnd[] = {0xFF, JPEG_EOI};
  JpegReader& reader = Of(jpeg);
  std::span<const BYTE> block = reader.stream_.NextBlock();
  if (block.empty()) {
    if (!reader.several_scans_) ERREXIT(jpeg, JERR_INPUT_EOF);
    // The scans before the end make a picture.
    WARNMS(jpeg, JWRN_JPEG_EOF);
    block = kEnd;
  }
  jpeg->src->next_input_byte = block.data();
  jpeg->src->bytes_in_buffer = block.size();
  return TRUE;
}

void JpegReader::OnSkip(j_decompress_ptr jpeg, long size) {
  jpeg_source_mgr& source = *jpeg->src;
  for (auto left = static_cast<std::size_t>(size < 0 ? 0 : size); left > 0;) {
    if (source.bytes_in_buffer == 0) OnMoreInput(jpeg);
    const std::size_t count = left < source.bytes_in_buffer ? left : source.bytes_in_buffer;
    source.next_input_byte += count;
    source.bytes_in_buffer -= count;
    left -= count;
  }
}

void JpegReader::OnProgress(j_common_ptr jpeg) {
  if (reinterpret_cast<j_decompress_ptr>(jpeg)->input_scan_number > kMostJpegScans) {
    ERREXIT(jpeg, JERR_BAD_PROGRESSION);
  }
}

HRESULT JpegReader::Open() {
  jpeg_.err = jpeg_std_error(&errors_);
  jpeg_.client_data = this;
  errors_.error_exit = OnError;
  errors_.emit_message = OnMessage;
  source_.init_source = OnStart;
  source_.fill_input_buffer = OnMoreInput;
  source_.skip_input_data = OnSkip;
  source_.resync_to_restart = jpeg_resync_to_restart;
  source_.term_source = OnStart;
  progress_.progress_monitor = OnProgress;

  const bool done = Run([this] {
    jpeg_create_decompress(&jpeg_);
    jpeg_.src = &source_;
    jpeg_.progress = &progress_;
    jpeg_read_header(&jpeg_, TRUE);
  });
  // 12 bits a sample, and lossless and hierarchical pictures.
  const bool unknown =
      errors_.msg_code == JERR_BAD_PRECISION || errors_.msg_code == JERR_SOF_UNSUPPORTED;
  if (!done) return Cause(unknown ? WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT : WINCODEC_ERR_BADHEADER);
  const HRESULT size_result = SetSize(jpeg_.image_width, jpeg_.image_height);
  if (FAILED(size_result)) return size_result;

  switch (jpeg_.jpeg_color_space) {
    case JCS_GRAYSCALE:
    case JCS_RGB:
    case JCS_YCbCr:
      jpeg_.out_color_space = JCS_EXT_BGRA;
      break;
    case JCS_CMYK:
    case JCS_YCCK:
      jpeg_.out_color_space = JCS_CMYK;
      break;
    default:
      return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  }
  several_scans_ = jpeg_has_multiple_scans(&jpeg_);
  return S_OK;
}

HRESULT JpegReader::Start() {
  // With several scans the library holds the whole picture's coefficients.
  if ((several_scans_ || jpeg_.arith_code) && !CanBeComplete()) return WINCODEC_ERR_BADIMAGE;
  if (!Run([this] { jpeg_start_decompress(&jpeg_); })) return Cause(WINCODEC_ERR_BADIMAGE);
  if (several_scans_ && !HasAllComponents()) damage_ = Cause(WINCODEC_ERR_BADIMAGE);
  return S_OK;
}

// Whether the file is long enough for its size.
bool JpegReader::CanBeComplete() {
  UINT64 blocks = 0;
  for (int i = 0; i < jpeg_.num_components; ++i) {
    const jpeg_component_info& component = jpeg_.comp_info[i];
    blocks += UINT64{component.width_in_blocks} * component.height_in_blocks;
  }
  const std::optional<UINT64> size = stream_.Size();
  const UINT64 most = jpeg_.arith_code ? kMostArithmeticBlocksPerByte : kMostHuffmanBlocksPerByte;
  return !size || *size >= blocks / most;
}

// A component that no scan holds would be grey, without a word from the library.
bool JpegReader::HasAllComponents() const {
  for (int i = 0; i < jpeg_.num_components; ++i) {
    if (jpeg_.comp_info[i].quant_table == nullptr) return false;
    if (jpeg_.coef_bits != nullptr && jpeg_.coef_bits[i][0] < 0) return false;
  }
  return true;
}

HRESULT JpegReader::ReadRow(BYTE* row) {
  if (!started_) {
    const HRESULT result = Start();
    if (FAILED(result)) return result;
    started_ = true;
  }
  const bool done = Run([this, row] {
    JSAMPROW rows[] = {row};
    jpeg_read_scanlines(&jpeg_, rows, 1);
  });
  if (!done) return Cause(WINCODEC_ERR_BADIMAGE);
  if (jpeg_.out_color_space == JCS_CMYK) ConvertFromCmyk(row);
  return S_OK;
}

void JpegReader::ConvertFromCmyk(BYTE* row) const {
  // Files with the Adobe marker store the paper that is left instead of the ink.
  const unsigned inverse = jpeg_.saw_Adobe_marker ? 0 : 0xFF;
  for (UINT x = 0; x < Width(); ++x, row += kBytesPerPixel) {
    const unsigned light = row[3] ^ inverse;
    const BYTE red = Multiply(row[0] ^ inverse, light);
    row[0] = Multiply(row[2] ^ inverse, light);
    row[1] = Multiply(row[1] ^ inverse, light);
    row[2] = red;
    row[3] = 0xFF;
  }
}

HRESULT JpegReader::Finish() {
  if (!Run([this] { jpeg_finish_decompress(&jpeg_); })) return Cause(WINCODEC_ERR_BADIMAGE);
  return damage_;
}

bool Recognises(std::span<const BYTE> start) { return BeginsWith(start, kSignature); }

}  // namespace

const Coder kJpegCoder = {GUID_ContainerFormatJpeg, Recognises, OpenSinglePicture<JpegReader>};

}  // namespace Vantra::Platform
