#pragma once

// Makes, sets and draws effects of the layer in tests.

#include <vantrix/platform/d2d1effects.h>

#include "platform/d2d/drawing_reference.h"

namespace Vantra::Testing {

class BuiltInEffects : public DrawingFixture {
 protected:
  CComPtr<ID2D1Effect> Make(REFCLSID id) {
    CComPtr<ID2D1Effect> effect;
    EXPECT_EQ(Context()->CreateEffect(id, &effect), S_OK);
    return effect;
  }

  // An effect over a picture, which the fixture keeps.
  CComPtr<ID2D1Effect> Make(REFCLSID id, const Picture& picture) {
    CComPtr<ID2D1Effect> effect = Make(id);
    Upload(input_, picture);
    effect->SetInput(0, input_.GetBitmap(), TRUE);
    return effect;
  }

  template <class T>
  static HRESULT Set(ID2D1Properties& effect, UINT32 index, const T& value,
                     D2D1_PROPERTY_TYPE type = D2D1_PROPERTY_TYPE_UNKNOWN) {
    return effect.SetValue(index, type, reinterpret_cast<const BYTE*>(&value), sizeof(value));
  }

  template <class T>
  static T Get(const ID2D1Properties& effect, UINT32 index) {
    T value = {};
    EXPECT_EQ(effect.GetValue(index, D2D1_PROPERTY_TYPE_UNKNOWN, reinterpret_cast<BYTE*>(&value),
                              sizeof(value)),
              S_OK);
    return value;
  }

  // An effect's output over transparent black, its place (left, top) at the corner.
  Picture Show(ID2D1Effect& effect, int width, int height, float left = 0, float top = 0) {
    return Draw(Picture("target", width, height), [&] {
      CComPtr<ID2D1Image> output;
      effect.GetOutput(&output);
      const D2D1_POINT_2F offset = {-left, -top};
      Context()->DrawImage(output, &offset, nullptr, D2D1_INTERPOLATION_MODE_LINEAR,
                           D2D1_COMPOSITE_MODE_SOURCE_OVER);
    });
  }

  D2D1_RECT_F Bounds(ID2D1Effect& effect) {
    CComPtr<ID2D1Image> output;
    effect.GetOutput(&output);
    D2D1_RECT_F bounds = {};
    EXPECT_EQ(Context()->GetImageLocalBounds(output, &bounds), S_OK);
    return bounds;
  }

  Bitmap input_;
};

}  // namespace Vantra::Testing
