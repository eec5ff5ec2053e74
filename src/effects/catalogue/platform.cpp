#include <vantrix/effects/catalogue/platform.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "effects/engine/attributevalue.h"

namespace VantraFx {

using Vantra::AttributeDescription;
using Vantra::Describe;
using Vantra::EffectDescription;
using Vantra::WholePart;

const std::string& PropertyEffect::GetXmlAttributes() const { return description_.GetXml(); }

void PropertyEffect::OnSetAttribute(const Attribute* attribute) {
  const AttributeDescription* description = description_.Find(attribute->name.c_str());
  if (!description) return;
  Vantra::SetAttributeText(*description, attribute->value, constants_);
  OnStored(description->name);
}

void PropertyEffect::OnGetAttribute(Attribute* attribute) {
  const AttributeDescription* description = description_.Find(attribute->name.c_str());
  if (description) Vantra::GetAttributeText(*description, constants_, &attribute->value);
}

void PropertyEffect::OnStored(const std::wstring&) {}

namespace {

using Matrix = D2D1_MATRIX_5X4_F;

// Keeps a value that the platform effect takes. Any other must not be kept, since what is kept is
// set again when the platform effect is made anew.
template <class T>
void Keep(T value, T min, T max, T* kept) {
  if (value >= min && value <= max) *kept = value;
}

// The ranges of the platform effects' properties.
constexpr float kLargestDeviation = 250;
constexpr std::uint32_t kLargestSide = 100;
constexpr float kLargestElement = 1 << 24;

constexpr Matrix kIdentity = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};

// Mixes red, green and blue, and keeps alpha.
Matrix FromRows(const double (&rows)[3][3]) {
  Matrix matrix = kIdentity;
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) matrix.m[i][j] = static_cast<float>(rows[i][j]);
  }
  return matrix;
}

// First n, then m, whose offset is taken for zero.
Matrix Multiply(const Matrix& n, const Matrix& m) {
  Matrix product = {};
  for (std::size_t i = 0; i < 5; ++i) {
    for (std::size_t j = 0; j < 4; ++j) {
      for (std::size_t k = 0; k < 4; ++k) product.m[i][j] += n.m[i][k] * m.m[k][j];
    }
  }
  return product;
}

}  // namespace

StandardAdjust::StandardAdjust() { Reset(); }

const EffectDescription& StandardAdjust::Description() {
  static const EffectDescription description(
      {
          .id = {0x9A3CED24, 0x006E, 0x444B, {0xBE, 0xBE, 0x53, 0x43, 0x52, 0xB0, 0x97, 0x27}},
          .name = "StandardAdjust",
          .display_name = "Standard Adjust",
          .description = "Hue, saturation, brightness and contrast",
          .numbers = {{ATTRIBUTE_HUE()},
                      {ATTRIBUTE_SATURATION()},
                      {ATTRIBUTE_BRIGHTNESS()},
                      {ATTRIBUTE_CONTRAST()}},
      },
      0);
  return description;
}

GUID StandardAdjust::GetEffectID() const { return CLSID_D2D1ColorMatrix; }

void StandardAdjust::Reset() {
  saturation_matrix_ = brightness_matrix_ = contrast_matrix_ = hue_matrix_ = matrix_ = kIdentity;
  brightness_ = saturation_ = hue_ = contrast_ = 0;
}

void StandardAdjust::OnSetDefaultParameters() {
  // What was set before is to outlive the making of the platform effect.
  if (!IsBeingMade()) Reset();
}

void StandardAdjust::OnUpdateParameters() { Write(D2D1_COLORMATRIX_PROP_COLOR_MATRIX, matrix_); }

void StandardAdjust::OnSetAttribute(const wchar_t* name, float value) {
  if (std::isnan(value)) return;
  const int whole = WholePart<std::int32_t>(value);
  if (IsAttribute(name, ATTRIBUTE_HUE())) SetHue(whole);
  if (IsAttribute(name, ATTRIBUTE_SATURATION())) SetSaturation(whole);
  if (IsAttribute(name, ATTRIBUTE_BRIGHTNESS())) SetBrightness(whole);
  if (IsAttribute(name, ATTRIBUTE_CONTRAST())) SetContrast(whole);
}

void StandardAdjust::SetBrightness(int value) {
  brightness_ = value;
  const float b = static_cast<float>(value) / 100;
  brightness_matrix_ = kIdentity;
  for (std::size_t c = 0; c < 3; ++c) brightness_matrix_.m[4][c] = b;
  ApplyMatrix();
}

void StandardAdjust::SetContrast(int value) {
  contrast_ = value;
  const float k = (static_cast<float>(value) + 100) / 100;
  contrast_matrix_ = kIdentity;
  for (std::size_t c = 0; c < 3; ++c) contrast_matrix_.m[c][c] = k;
  ApplyMatrix();
}

void StandardAdjust::SetSaturation(int value) {
  saturation_ = value;
  const double s = (value + 100.0) / 100;
  // The saturation matrix of SVG, for row vectors.
  saturation_matrix_ = FromRows({
      {0.213 + 0.787 * s, 0.213 - 0.213 * s, 0.213 - 0.213 * s},
      {0.715 - 0.715 * s, 0.715 + 0.285 * s, 0.715 - 0.715 * s},
      {0.072 - 0.072 * s, 0.072 - 0.072 * s, 0.072 + 0.928 * s},
  });
  ApplyMatrix();
}

void StandardAdjust::SetHue(int value) {
  hue_ = value;
  const double angle = value * std::numbers::pi / 100;
  const double c = std::cos(angle);
  const double n = std::sin(angle);
  // The hue rotation of SVG, for row vectors.
  hue_matrix_ = FromRows({
      {0.213 + 0.787 * c - 0.213 * n, 0.213 - 0.213 * c + 0.143 * n, 0.213 - 0.213 * c - 0.787 * n},
      {0.715 - 0.715 * c - 0.715 * n, 0.715 + 0.285 * c + 0.140 * n, 0.715 - 0.715 * c + 0.715 * n},
      {0.072 - 0.072 * c + 0.928 * n, 0.072 - 0.072 * c - 0.283 * n, 0.072 + 0.928 * c + 0.072 * n},
  });
  ApplyMatrix();
}

bool StandardAdjust::IsAdjusting() const {
  return brightness_ != 0 || saturation_ != 0 || hue_ != 0 || contrast_ != 0;
}

void StandardAdjust::ApplyMatrix() {
  matrix_ = Multiply(saturation_matrix_, hue_matrix_);
  matrix_ = Multiply(contrast_matrix_, matrix_);
  matrix_ = Multiply(brightness_matrix_, matrix_);
  OnUpdateParameters();
}

const EffectDescription& GammaTransfer::Description() {
  static const EffectDescription description(
      {
          .id = CLSID_D2D1GammaTransfer,
          .name = "D2D1GammaTransfer",
          .display_name = "Gamma Transfer",
          .description = "Power of red, green and blue",
          .numbers = {{L"gamma"}},
      },
      0);
  return description;
}

void GammaTransfer::SetGamma(float value) {
  if (!std::isfinite(value)) return;
  gamma_ = WholePart<std::int32_t>(value);
  WriteExponent(value);
}

void GammaTransfer::OnSetDefaultParameters() {
  // What was set before is to outlive the making of the platform effect.
  if (!IsBeingMade()) gamma_ = 0;
}

void GammaTransfer::OnUpdateParameters() { WriteExponent(static_cast<float>(gamma_)); }

void GammaTransfer::OnSetAttribute(const wchar_t*, float value) { SetGamma(value); }

void GammaTransfer::WriteExponent(float gamma) {
  const float exponent = (gamma + 100) / 100;
  Write(D2D1_GAMMATRANSFER_PROP_RED_EXPONENT, exponent);
  Write(D2D1_GAMMATRANSFER_PROP_GREEN_EXPONENT, exponent);
  Write(D2D1_GAMMATRANSFER_PROP_BLUE_EXPONENT, exponent);
}

const EffectDescription& LinearTransfer::Description() {
  static const EffectDescription description(
      {
          .id = CLSID_D2D1LinearTransfer,
          .name = "D2D1LinearTransfer",
          .display_name = "Linear Transfer",
          .description = "Hard red and green",
      },
      0);
  return description;
}

void LinearTransfer::OnUpdateParameters() {
  Write(D2D1_LINEARTRANSFER_PROP_RED_Y_INTERCEPT, -1.0f);
  Write(D2D1_LINEARTRANSFER_PROP_RED_SLOPE, 2.5f);
  Write(D2D1_LINEARTRANSFER_PROP_GREEN_Y_INTERCEPT, -1.0f);
  Write(D2D1_LINEARTRANSFER_PROP_GREEN_SLOPE, 5.0f);
}

const EffectDescription& GaussianBlur::Description() {
  static const EffectDescription description =
      Describe<GaussianBlur>({
                                 .id = CLSID_D2D1GaussianBlur,
                                 .name = "D2D1GaussianBlur",
                                 .display_name = "Gaussian Blur",
                                 .description = "Blur in all directions",
                                 .category = "Blur",
                             })
          .Float(L"Amout", {0, 1, 0.125, 0.01}, &Constants::amout);
  return description;
}

void GaussianBlur::OnUpdateParameters() {
  Write(D2D1_GAUSSIANBLUR_PROP_STANDARD_DEVIATION, constants_.standard_deviation);
  Write(D2D1_GAUSSIANBLUR_PROP_OPTIMIZATION, constants_.optimization);
  Write(D2D1_GAUSSIANBLUR_PROP_BORDER_MODE, constants_.border_mode);
}

void GaussianBlur::OnSetAttribute(const wchar_t*, float value) { OnSetAmout(value); }

void GaussianBlur::OnStored(const std::wstring&) { OnSetAmout(constants_.amout); }

void GaussianBlur::OnSetAmout(float amount) {
  constants_.amout = amount;
  Keep(amount * 64, 0.0f, kLargestDeviation, &constants_.standard_deviation);
  Write(D2D1_GAUSSIANBLUR_PROP_STANDARD_DEVIATION, constants_.standard_deviation);
}

const EffectDescription& Morphology::Description() {
  const auto opposite = [](float flag) { return flag != 0 ? 0.0f : 1.0f; };
  static_assert(D2D1_MORPHOLOGY_MODE_ERODE == 0 && D2D1_MORPHOLOGY_MODE_DILATE == 1,
                "the mode is the opposite of Erode");
  static const EffectDescription description =
      Describe<Morphology>({
                               .id = CLSID_D2D1Morphology,
                               .name = "D2D1Morphology",
                               .display_name = "Morphology",
                               .description = "Smaller or larger bright areas",
                               .category = "Filter",
                           })
          .Float(L"Amout", {0, 1, 0.125, 0.01}, &Constants::amout)
          .Bool(L"Erode", true, &Constants::mode, {opposite, opposite});
  return description;
}

void Morphology::OnUpdateParameters() {
  Write(D2D1_MORPHOLOGY_PROP_MODE, constants_.mode);
  Write(D2D1_MORPHOLOGY_PROP_WIDTH, constants_.width);
  Write(D2D1_MORPHOLOGY_PROP_HEIGHT, constants_.height);
}

void Morphology::OnStored(const std::wstring& name) {
  if (name == L"Erode") {
    Write(D2D1_MORPHOLOGY_PROP_MODE, constants_.mode);
  } else {
    OnSetAmout(constants_.amout);
  }
}

void Morphology::OnSetAmout(float amount) {
  Keep(WholePart<std::uint32_t>(amount * 64), 1u, kLargestSide, &constants_.width);
  constants_.height = constants_.width;
  Write(D2D1_MORPHOLOGY_PROP_WIDTH, constants_.width);
  Write(D2D1_MORPHOLOGY_PROP_HEIGHT, constants_.height);
}

const EffectDescription& DirectionalBlur::Description() {
  static const EffectDescription description =
      Describe<DirectionalBlur>({
                                    .id = CLSID_D2D1DirectionalBlur,
                                    .name = "D2D1DirectionalBlur",
                                    .display_name = "Directional Blur",
                                    .description = "Blur along a line",
                                    .category = "Blur",
                                })
          .Float(L"Amout", {0, 1, 0.125, 0.01}, &Constants::amout)
          .Int(L"Angle", {.min = 0, .max = 360, .def = 45}, &Constants::angle,
               {.from_constant = [](float angle) { return std::trunc(angle); }});
  return description;
}

void DirectionalBlur::OnUpdateParameters() {
  Write(D2D1_DIRECTIONALBLUR_PROP_STANDARD_DEVIATION, constants_.standard_deviation);
  Write(D2D1_DIRECTIONALBLUR_PROP_ANGLE, angle_);
  Write(D2D1_DIRECTIONALBLUR_PROP_OPTIMIZATION, constants_.optimization);
  Write(D2D1_DIRECTIONALBLUR_PROP_BORDER_MODE, constants_.border_mode);
}

void DirectionalBlur::OnStored(const std::wstring& name) {
  if (name == L"Angle") {
    if (std::isfinite(constants_.angle)) angle_ = constants_.angle;
    Write(D2D1_DIRECTIONALBLUR_PROP_ANGLE, angle_);
  } else {
    OnSetAmout(constants_.amout);
  }
}

void DirectionalBlur::OnSetAmout(float amount) {
  constants_.amout = amount;
  Keep(amount * 128, 0.0f, kLargestDeviation, &constants_.standard_deviation);
  Write(D2D1_DIRECTIONALBLUR_PROP_STANDARD_DEVIATION, constants_.standard_deviation);
}

namespace {

struct Kernel {
  const wchar_t* name;
  std::uint32_t width;
  std::uint32_t height;
  float divisor;
  // Row by row.
  std::array<float, 25> elements;
};

constexpr std::array<float, 25> Ones(std::size_t count) {
  std::array<float, 25> ones{};
  std::fill_n(ones.begin(), count, 1.0f);
  return ones;
}

using C = ConvolveMatrix;

constexpr std::array<Kernel, C::kKernelCount> kKernels = {{
    {L"Passthrough", C::PassthroughWidth, C::PassthroughWidth, C::DefaultDivisor, {1}},
    {L"Box Blur (width 5)", C::BoxBlurWidth, C::BoxBlurWidth, C::BoxBlurDivisor, Ones(25)},
    {L"Simple Edge Detect",
     C::SimpleEdgeDetectWidth,
     C::SimpleEdgeDetectWidth,
     C::DefaultDivisor,
     {0, -1, 0, -1, 4, -1, 0, -1, 0}},
    {L"Simple Sharpen",
     C::SimpleSharpenWidth,
     C::SimpleSharpenWidth,
     C::SimpleSharpenDivisor,
     {0, -1, 0, -1, 6, -1, 0, -1, 0}},
    {L"Emboss", C::EmbossWidth, C::EmbossWidth, C::DefaultDivisor, {2, 1, 0, 1, 1, -1, 0, -1, -2}},
    {L"Horizontal Smear (width 20)", C::HorizontalSmearWidth, C::HorizontalSmearHeight,
     C::HorizontalSmearDivisor, Ones(20)},
}};

}  // namespace

const EffectDescription& ConvolveMatrix::Description() {
  static const EffectDescription description(
      {
          .id = CLSID_D2D1ConvolveMatrix,
          .name = "D2D1ConvolveMatrix",
          .display_name = "Convolve Matrix",
          .description = "Weighted sum of neighbours by a kernel from 0 to 5",
          .category = "Filter",
          .numbers = {{L"kernel", 0, kKernelCount - 1}},
      },
      0);
  return description;
}

bool ConvolveMatrix::SetKernel(int index) {
  if (index < 0 || index >= kKernelCount) return false;
  kernel_ = index;
  OnUpdateParameters();
  return true;
}

const wchar_t* ConvolveMatrix::GetKernelName(int index) {
  if (index < 0 || index >= kKernelCount) return nullptr;
  return kKernels[static_cast<std::size_t>(index)].name;
}

void ConvolveMatrix::OnSetAttribute(const wchar_t* name, float value) {
  // Not a number is no kernel, and not the first one.
  if (IsAttribute(name, L"kernel") && !std::isnan(value)) SetKernel(WholePart<std::int32_t>(value));
}

void ConvolveMatrix::OnUpdateParameters() {
  const Kernel& kernel = kKernels[static_cast<std::size_t>(kernel_)];
  SetValue(D2D1_CONVOLVEMATRIX_PROP_KERNEL_MATRIX,
           reinterpret_cast<const unsigned char*>(kernel.elements.data()),
           kernel.width * kernel.height * static_cast<unsigned int>(sizeof(float)));
  Write(D2D1_CONVOLVEMATRIX_PROP_KERNEL_SIZE_X, kernel.width);
  Write(D2D1_CONVOLVEMATRIX_PROP_KERNEL_SIZE_Y, kernel.height);
  Write(D2D1_CONVOLVEMATRIX_PROP_DIVISOR, kernel.divisor);
}

const EffectDescription& Border::Description() {
  static const EffectDescription description(
      {
          .id = CLSID_D2D1Border,
          .name = "D2D1Border",
          .display_name = "Border",
          .description = "Picture mirrored at its edges",
      },
      0);
  return description;
}

void Border::OnSetDefaultParameters() {
  edge_mode_x_ = edge_mode_y_ = D2D1_BORDER_EDGE_MODE_MIRROR;
  OnUpdateParameters();
}

void Border::OnUpdateParameters() {
  Write(D2D1_BORDER_PROP_EDGE_MODE_X, edge_mode_x_);
  Write(D2D1_BORDER_PROP_EDGE_MODE_Y, edge_mode_y_);
}

namespace {

// The matrix that takes a rectangle of that size at (0, 0) to a quadrilateral: first to the unit
// square, then by a projective map (with A, B below) to the quadrilateral as seen in the frame of
// its sides at p0, then from that frame to the points.
D2D1_MATRIX_4X4_F ToQuadrilateral(D2D_SIZE_F size, D2D_POINT_2F p0, D2D_POINT_2F p1,
                                  D2D_POINT_2F p2, D2D_POINT_2F p3) {
  struct Point {
    double x;
    double y;
  };
  const auto minus = [](const D2D_POINT_2F& a, const D2D_POINT_2F& b) {
    return Point{static_cast<double>(a.x) - b.x, static_cast<double>(a.y) - b.y};
  };
  const auto cross = [](const Point& a, const Point& b) { return a.x * b.y - a.y * b.x; };
  const Point e1 = minus(p1, p0);
  const Point e2 = minus(p2, p0);
  const Point d = minus(p3, p0);
  const double det = cross(e1, e2);
  // p3 = p0 + a e1 + b e2.
  const double a = cross(d, e2) / det;
  const double b = cross(e1, d) / det;
  const double A = a / (a + b - 1);
  const double B = b / (a + b - 1);
  const auto row = [&p0](double length, double factor, const Point& side) {
    const auto element = [length](double value) { return static_cast<float>(value / length); };
    return std::array{element(factor * side.x + (factor - 1) * p0.x),
                      element(factor * side.y + (factor - 1) * p0.y), element(factor - 1)};
  };
  const auto x = row(size.width, A, e1);
  const auto y = row(size.height, B, e2);
  return {x[0], x[1], 0, x[2], y[0], y[1], 0, y[2], 0, 0, 1, 0, p0.x, p0.y, 0, 1};
}

// Whether no three of the points are on one line.
bool MakeQuadrilateral(const std::array<D2D_POINT_2F, 4>& points) {
  // Floats tell directions from each other down to about this sine.
  constexpr double kSmallestSine = 1e-6;
  for (std::size_t left_out = 0; left_out < 4; ++left_out) {
    const D2D_POINT_2F& a = points[(left_out + 1) % 4];
    const D2D_POINT_2F& b = points[(left_out + 2) % 4];
    const D2D_POINT_2F& c = points[(left_out + 3) % 4];
    const double bx = static_cast<double>(b.x) - a.x, by = static_cast<double>(b.y) - a.y;
    const double cx = static_cast<double>(c.x) - a.x, cy = static_cast<double>(c.y) - a.y;
    const double sides = std::hypot(bx, by) * std::hypot(cx, cy);
    // False for what is no number, too.
    if (!(std::abs(bx * cy - by * cx) > kSmallestSine * sides)) return false;
  }
  return true;
}

bool IsTaken(const D2D1_MATRIX_4X4_F& m) {
  const std::array elements = {m._11, m._12, m._14, m._21, m._22, m._24, m._41, m._42};
  return std::ranges::all_of(elements,
                             [](float element) { return std::abs(element) <= kLargestElement; });
}

D2D1_MATRIX_4X4_F DefaultQuadrilateral() {
  return ToQuadrilateral({1280, 720}, {230, 160}, {1060, 230}, {0, 715}, {1272, 600});
}

}  // namespace

WarpPerspective::WarpPerspective() : matrix_(DefaultQuadrilateral()) {}

const EffectDescription& WarpPerspective::Description() {
  static const EffectDescription description(
      {
          .id = CLSID_D2D13DTransform,
          .name = "D2D13DTransform",
          .display_name = "Warp Perspective",
          .description = "Picture seen in perspective",
          .category = "Geometry",
      },
      0);
  return description;
}

void WarpPerspective::SetPoints(D2D_SIZE_F size, D2D_POINT_2F p0, D2D_POINT_2F p1, D2D_POINT_2F p2,
                                D2D_POINT_2F p3) {
  if (!MakeQuadrilateral({p0, p1, p2, p3})) return;
  const D2D1_MATRIX_4X4_F matrix = ToQuadrilateral(size, p0, p1, p2, p3);
  if (!IsTaken(matrix)) return;
  matrix_ = matrix;
  OnUpdateParameters();
}

void WarpPerspective::OnSetDefaultParameters() {
  // Points that were set before are to outlive the making of the platform effect.
  if (!IsBeingMade()) matrix_ = DefaultQuadrilateral();
}

void WarpPerspective::OnUpdateParameters() {
  Write(D2D1_3DTRANSFORM_PROP_TRANSFORM_MATRIX, matrix_);
}

const EffectDescription& BarrelDistortion::Description() {
  static const EffectDescription description(
      {
          .id = {0x445584FA, 0xFB6D, 0x46C0, {0xBD, 0x3E, 0x1E, 0x36, 0xDF, 0xCD, 0xE0, 0x6B}},
          .name = "BarrelDistortion",
          .display_name = "Barrel Distortion",
          .description = "Barrel distortion",
          .category = "Distortion",
      },
      0);
  return description;
}

}  // namespace VantraFx
