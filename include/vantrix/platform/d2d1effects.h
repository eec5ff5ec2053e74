#pragma once

/// The 2D layer's own effects, which need no registration: their ids, and the indices, values and
/// ranges of their properties. Lengths are in pixels of the image. Setting a value outside its
/// range, one that is no finite number, or one that an enumeration lacks is `E_INVALIDARG` and
/// changes nothing.

#include <vantrix/platform/d2d1.h>

/// Multiplies each pixel (red, green, blue, alpha, 1) by a matrix of 5 rows and 4 columns.
constexpr CLSID CLSID_D2D1ColorMatrix = {
    0x921F03D6, 0x641C, 0x47DF, {0x85, 0x2D, 0xB4, 0xBB, 0x61, 0x53, 0xAE, 0x11}};
enum D2D1_COLORMATRIX_PROP : UINT32 {
  /// `D2D1_MATRIX_5X4_F`, the identity.
  D2D1_COLORMATRIX_PROP_COLOR_MATRIX = 0,
  /// `D2D1_COLORMATRIX_ALPHA_MODE`, premultiplied.
  D2D1_COLORMATRIX_PROP_ALPHA_MODE = 1,
  /// `BOOL`, false: whether the matrix's results are limited to 0 to 1 before they are
  /// premultiplied.
  D2D1_COLORMATRIX_PROP_CLAMP_OUTPUT = 2,
};
enum D2D1_COLORMATRIX_ALPHA_MODE : UINT32 {
  /// The matrix sees straight colours, and its results are premultiplied.
  D2D1_COLORMATRIX_ALPHA_MODE_PREMULTIPLIED = 1,
  /// The matrix sees the pixel as it is, and its results are left so.
  D2D1_COLORMATRIX_ALPHA_MODE_STRAIGHT = 2,
};

/// Replaces each straight channel c by amplitude * c ^ exponent + offset, where c ^ 0 is 1.
constexpr CLSID CLSID_D2D1GammaTransfer = {
    0x409444C4, 0xC419, 0x41A0, {0xB0, 0xC1, 0x8C, 0xD0, 0xC0, 0xA1, 0x8E, 0x42}};
enum D2D1_GAMMATRANSFER_PROP : UINT32 {
  /// `FLOAT`: amplitudes and exponents 1, offsets 0.
  D2D1_GAMMATRANSFER_PROP_RED_AMPLITUDE = 0,
  D2D1_GAMMATRANSFER_PROP_RED_EXPONENT = 1,
  D2D1_GAMMATRANSFER_PROP_RED_OFFSET = 2,
  /// `BOOL`, false: whether the channel is left as it is.
  D2D1_GAMMATRANSFER_PROP_RED_DISABLE = 3,
  D2D1_GAMMATRANSFER_PROP_GREEN_AMPLITUDE = 4,
  D2D1_GAMMATRANSFER_PROP_GREEN_EXPONENT = 5,
  D2D1_GAMMATRANSFER_PROP_GREEN_OFFSET = 6,
  D2D1_GAMMATRANSFER_PROP_GREEN_DISABLE = 7,
  D2D1_GAMMATRANSFER_PROP_BLUE_AMPLITUDE = 8,
  D2D1_GAMMATRANSFER_PROP_BLUE_EXPONENT = 9,
  D2D1_GAMMATRANSFER_PROP_BLUE_OFFSET = 10,
  D2D1_GAMMATRANSFER_PROP_BLUE_DISABLE = 11,
  D2D1_GAMMATRANSFER_PROP_ALPHA_AMPLITUDE = 12,
  D2D1_GAMMATRANSFER_PROP_ALPHA_EXPONENT = 13,
  D2D1_GAMMATRANSFER_PROP_ALPHA_OFFSET = 14,
  D2D1_GAMMATRANSFER_PROP_ALPHA_DISABLE = 15,
  /// `BOOL`, false: whether results are limited to 0 to 1 before they are premultiplied.
  D2D1_GAMMATRANSFER_PROP_CLAMP_OUTPUT = 16,
};

/// Replaces each straight channel c by slope * c + intercept.
constexpr CLSID CLSID_D2D1LinearTransfer = {
    0xAD47C8FD, 0x63EF, 0x4ACC, {0x9B, 0x51, 0x67, 0x97, 0x9C, 0x03, 0x6C, 0x06}};
enum D2D1_LINEARTRANSFER_PROP : UINT32 {
  /// `FLOAT`: intercepts 0, slopes 1.
  D2D1_LINEARTRANSFER_PROP_RED_Y_INTERCEPT = 0,
  D2D1_LINEARTRANSFER_PROP_RED_SLOPE = 1,
  /// `BOOL`, false: whether the channel is left as it is.
  D2D1_LINEARTRANSFER_PROP_RED_DISABLE = 2,
  D2D1_LINEARTRANSFER_PROP_GREEN_Y_INTERCEPT = 3,
  D2D1_LINEARTRANSFER_PROP_GREEN_SLOPE = 4,
  D2D1_LINEARTRANSFER_PROP_GREEN_DISABLE = 5,
  D2D1_LINEARTRANSFER_PROP_BLUE_Y_INTERCEPT = 6,
  D2D1_LINEARTRANSFER_PROP_BLUE_SLOPE = 7,
  D2D1_LINEARTRANSFER_PROP_BLUE_DISABLE = 8,
  D2D1_LINEARTRANSFER_PROP_ALPHA_Y_INTERCEPT = 9,
  D2D1_LINEARTRANSFER_PROP_ALPHA_SLOPE = 10,
  D2D1_LINEARTRANSFER_PROP_ALPHA_DISABLE = 11,
  /// `BOOL`, false: whether results are limited to 0 to 1 before they are premultiplied.
  D2D1_LINEARTRANSFER_PROP_CLAMP_OUTPUT = 12,
};

/// What an effect that reads around a pixel finds beyond its input's edges.
enum D2D1_BORDER_MODE : UINT32 {
  /// Transparent black. The output is larger than the input by what the effect reaches.
  D2D1_BORDER_MODE_SOFT = 0,
  /// The input mirrored at its edges. The output is as large as the input.
  D2D1_BORDER_MODE_HARD = 1,
};

/// Blurs with a Gaussian kernel along rows and columns. It reaches 3 standard deviations on each
/// side, rounded up to whole pixels.
constexpr CLSID CLSID_D2D1GaussianBlur = {
    0x1FEB6D69, 0x2FE6, 0x4AC9, {0x8C, 0x58, 0x1D, 0x7F, 0x93, 0xE7, 0xA6, 0xA5}};
enum D2D1_GAUSSIANBLUR_PROP : UINT32 {
  /// `FLOAT` of 0 to 250, 3; at 0 the effect does nothing.
  D2D1_GAUSSIANBLUR_PROP_STANDARD_DEVIATION = 0,
  /// `D2D1_GAUSSIANBLUR_OPTIMIZATION`, balanced.
  D2D1_GAUSSIANBLUR_PROP_OPTIMIZATION = 1,
  /// `D2D1_BORDER_MODE`, soft.
  D2D1_GAUSSIANBLUR_PROP_BORDER_MODE = 2,
};
/// From which deviation on the blur is computed in a smaller picture, so that its cost does not
/// grow with the deviation. Balanced and with quality, a result is within a level of the kernel's.
enum D2D1_GAUSSIANBLUR_OPTIMIZATION : UINT32 {
  /// 4 pixels.
  D2D1_GAUSSIANBLUR_OPTIMIZATION_SPEED = 0,
  /// 8 pixels.
  D2D1_GAUSSIANBLUR_OPTIMIZATION_BALANCED = 1,
  /// 16 pixels.
  D2D1_GAUSSIANBLUR_OPTIMIZATION_QUALITY = 2,
};

/// Blurs with a Gaussian kernel along one line, to both sides. It reaches 3 standard deviations.
/// The line is walked in whole pixels along the axis that it is closer to, and places between two
/// pixels take both.
constexpr CLSID CLSID_D2D1DirectionalBlur = {
    0x174319A6, 0x58E9, 0x49B2, {0xBB, 0x63, 0xCA, 0xF2, 0xC8, 0x11, 0xA3, 0xDB}};
enum D2D1_DIRECTIONALBLUR_PROP : UINT32 {
  /// `FLOAT` of 0 to 250, 3; at 0 the effect does nothing.
  D2D1_DIRECTIONALBLUR_PROP_STANDARD_DEVIATION = 0,
  /// `FLOAT`, 0: degrees from the x-axis, counterclockwise.
  D2D1_DIRECTIONALBLUR_PROP_ANGLE = 1,
  /// `D2D1_DIRECTIONALBLUR_OPTIMIZATION`, balanced.
  D2D1_DIRECTIONALBLUR_PROP_OPTIMIZATION = 2,
  /// `D2D1_BORDER_MODE`, soft.
  D2D1_DIRECTIONALBLUR_PROP_BORDER_MODE = 3,
};
/// From which deviation on the blur is computed in two passes, of which the second takes wide
/// steps. Lines at multiples of 45 degrees stay within a level. Along others the first pass takes
/// the nearer pixel of places between two, and noise came out up to 6 levels from the kernel's
/// result.
enum D2D1_DIRECTIONALBLUR_OPTIMIZATION : UINT32 {
  /// 12 pixels.
  D2D1_DIRECTIONALBLUR_OPTIMIZATION_SPEED = 0,
  /// 24 pixels.
  D2D1_DIRECTIONALBLUR_OPTIMIZATION_BALANCED = 1,
  /// 64 pixels.
  D2D1_DIRECTIONALBLUR_OPTIMIZATION_QUALITY = 2,
};

/// Takes the smallest or the largest value, channel by channel, in a rectangle around each pixel.
/// The rectangle begins half its size, rounded down, before the pixel. Beyond the edges the input
/// is transparent black: eroding makes the output smaller than the input, down to nothing, and
/// dilating larger.
constexpr CLSID CLSID_D2D1Morphology = {
    0xEAE6C40D, 0x626A, 0x4C2D, {0xBF, 0xCB, 0x39, 0x10, 0x01, 0xAB, 0xE2, 0x02}};
enum D2D1_MORPHOLOGY_PROP : UINT32 {
  /// `D2D1_MORPHOLOGY_MODE`, erode.
  D2D1_MORPHOLOGY_PROP_MODE = 0,
  /// `UINT32` of 1 to 100, 1.
  D2D1_MORPHOLOGY_PROP_WIDTH = 1,
  D2D1_MORPHOLOGY_PROP_HEIGHT = 2,
};
enum D2D1_MORPHOLOGY_MODE : UINT32 {
  D2D1_MORPHOLOGY_MODE_ERODE = 0,
  D2D1_MORPHOLOGY_MODE_DILATE = 1,
};

/// Replaces each pixel by a weighted sum of those around it: sum / divisor + bias. The first
/// element of the kernel, whose rows follow each other, belongs to the pixel at the top left. The
/// kernel's centre is the element at half its size, rounded down.
constexpr CLSID CLSID_D2D1ConvolveMatrix = {
    0x407F8C08, 0x5533, 0x4331, {0xA3, 0x41, 0x23, 0xCC, 0x38, 0x77, 0x84, 0x3E}};
enum D2D1_CONVOLVEMATRIX_PROP : UINT32 {
  /// `D2D1_VECTOR_2F` of 0.01 to 100, (1, 1): the distance between elements of the kernel.
  D2D1_CONVOLVEMATRIX_PROP_KERNEL_UNIT_LENGTH = 0,
  /// `D2D1_CONVOLVEMATRIX_SCALE_MODE`, linear: how places between pixels are read. Multi-sample
  /// and anisotropic are linear, and both cubics take 4 by 4 pixels with the cubic weights of
  /// B = 0, C = 1/2. Within 1/512 of a pixel all read it as it is.
  D2D1_CONVOLVEMATRIX_PROP_SCALE_MODE = 1,
  /// `UINT32` of 1 to 100, 3.
  D2D1_CONVOLVEMATRIX_PROP_KERNEL_SIZE_X = 2,
  D2D1_CONVOLVEMATRIX_PROP_KERNEL_SIZE_Y = 3,
  /// A blob of `FLOAT`s; the identity of 3 by 3. Drawing returns `E_INVALIDARG` when their number
  /// is not the product of the sizes, and `D2DERR_UNSUPPORTED_OPERATION` when it is above 1000.
  D2D1_CONVOLVEMATRIX_PROP_KERNEL_MATRIX = 4,
  /// `FLOAT`, 1. 0 stands for the smallest number that a float tells from 1.
  D2D1_CONVOLVEMATRIX_PROP_DIVISOR = 5,
  /// `FLOAT`, 0.
  D2D1_CONVOLVEMATRIX_PROP_BIAS = 6,
  /// `D2D1_VECTOR_2F`, (0, 0): where the kernel's centre lies from the pixel, in its elements.
  D2D1_CONVOLVEMATRIX_PROP_KERNEL_OFFSET = 7,
  /// `BOOL`, false: whether alpha stays and the kernel sees straight colours.
  D2D1_CONVOLVEMATRIX_PROP_PRESERVE_ALPHA = 8,
  /// `D2D1_BORDER_MODE`, soft.
  D2D1_CONVOLVEMATRIX_PROP_BORDER_MODE = 9,
  /// `BOOL`, false: whether results are limited to 0 to 1 before they are premultiplied.
  D2D1_CONVOLVEMATRIX_PROP_CLAMP_OUTPUT = 10,
};
enum D2D1_CONVOLVEMATRIX_SCALE_MODE : UINT32 {
  D2D1_CONVOLVEMATRIX_SCALE_MODE_NEAREST_NEIGHBOR = 0,
  D2D1_CONVOLVEMATRIX_SCALE_MODE_LINEAR = 1,
  D2D1_CONVOLVEMATRIX_SCALE_MODE_CUBIC = 2,
  D2D1_CONVOLVEMATRIX_SCALE_MODE_MULTI_SAMPLE_LINEAR = 3,
  D2D1_CONVOLVEMATRIX_SCALE_MODE_ANISOTROPIC = 4,
  D2D1_CONVOLVEMATRIX_SCALE_MODE_HIGH_QUALITY_CUBIC = 5,
};

/// Continues an image beyond its edges without bound; what draws it cuts it.
constexpr CLSID CLSID_D2D1Border = {
    0x2A2D49C0, 0x4ACF, 0x43C7, {0x8C, 0x6A, 0x7C, 0x4A, 0x27, 0x87, 0x4D, 0x27}};
enum D2D1_BORDER_PROP : UINT32 {
  /// `D2D1_BORDER_EDGE_MODE`, clamp.
  D2D1_BORDER_PROP_EDGE_MODE_X = 0,
  D2D1_BORDER_PROP_EDGE_MODE_Y = 1,
};
enum D2D1_BORDER_EDGE_MODE : UINT32 {
  D2D1_BORDER_EDGE_MODE_CLAMP = 0,
  D2D1_BORDER_EDGE_MODE_WRAP = 1,
  D2D1_BORDER_EDGE_MODE_MIRROR = 2,
};

/// Transforms an image, whose z is 0, in space.
constexpr CLSID CLSID_D2D13DTransform = {
    0xE8467B04, 0xEC61, 0x4B8A, {0xB5, 0xDE, 0xD4, 0xD7, 0x3D, 0xEB, 0xEA, 0x5A}};
enum D2D1_3DTRANSFORM_PROP : UINT32 {
  /// `D2D1_3DTRANSFORM_INTERPOLATION_MODE`, linear; as for `ID2D1DeviceContext::DrawImage`.
  D2D1_3DTRANSFORM_PROP_INTERPOLATION_MODE = 0,
  /// `D2D1_BORDER_MODE`, soft: edges are antialiased. Hard: pixels whose centre is inside are
  /// drawn.
  D2D1_3DTRANSFORM_PROP_BORDER_MODE = 1,
  /// `D2D1_MATRIX_4X4_F` of -2^24 to 2^24, the identity. With one that cannot be inverted there is
  /// no output.
  D2D1_3DTRANSFORM_PROP_TRANSFORM_MATRIX = 2,
};
enum D2D1_3DTRANSFORM_INTERPOLATION_MODE : UINT32 {
  D2D1_3DTRANSFORM_INTERPOLATION_MODE_NEAREST_NEIGHBOR = 0,
  D2D1_3DTRANSFORM_INTERPOLATION_MODE_LINEAR = 1,
  D2D1_3DTRANSFORM_INTERPOLATION_MODE_CUBIC = 2,
  D2D1_3DTRANSFORM_INTERPOLATION_MODE_MULTI_SAMPLE_LINEAR = 3,
  D2D1_3DTRANSFORM_INTERPOLATION_MODE_ANISOTROPIC = 4,
};
