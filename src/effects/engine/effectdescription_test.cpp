#include <vantrix/effects/catalogue/color.h>
#include <vantrix/effects/engine/effectdescription.h>

#include <clocale>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>

namespace Vantra {
namespace {

struct Sample {
  struct Constants {
    float strength = 0.25f;
    float steps = 9.5f;
    float center[2] = {0.5f, 0.5f};
    std::int32_t count = 3;
    std::uint32_t drops = 7;
    float flag = 1.0f;
    float color[4] = {0, 1, 0, 1};
    float kelvin = 0.0f;
    float tint[3] = {0, 0, 0};
  };
};
using Constants = Sample::Constants;

float ToKelvin(float v) { return v * 5000 + 2500; }
float FromKelvin(float k) { return (k - 2500) / 5000; }

const EffectDescription& SampleDescription() {
  using Parse = AttributeDescription::Parse;
  static const EffectDescription description =
      Describe<Sample>({.id = {1, 2, 3, {4}},
                        .name = "Sample",
                        .display_name = "A Sample",
                        .description = "Sample effect",
                        .category = "Distortion",
                        .inputs = {"Source", "Map"}})
          .Float(L"Strength", {0, 1, 0.08, 0.01}, &Constants::strength)
          .Int(L"Steps", {.min = 1, .max = 256, .def = 10}, &Constants::steps)
          .Position(L"Center", "-1,-1", "1,1", "0.5,0.5", &Constants::center)
          .Int(L"Count", {.min = -5, .max = 5, .def = 0}, &Constants::count, {}, Parse::kInteger)
          .Int(L"Drops", {.min = 0, .max = 5, .def = 0}, &Constants::drops, {}, Parse::kUnsigned)
          .Bool(L"Flag", true, &Constants::flag)
          .Color(L"Color", "0,1,0,1", &Constants::color)
          .Float(L"Kelvin", {0, 1, 0.3, 0.01}, &Constants::kelvin, {ToKelvin, FromKelvin})
          .Color(L"Tint", "0,0,0,1", &Constants::tint)
          .Texture(L"Texture", 1);
  return description;
}

class AttributeValues : public ::testing::Test {
 protected:
  void Set(const wchar_t* name, const std::wstring& text) {
    SetAttributeText(*SampleDescription().Find(name), text, &constants_);
  }
  std::wstring Get(const wchar_t* name) {
    std::wstring text = L"untouched";
    GetAttributeText(*SampleDescription().Find(name), &constants_, &text);
    return text;
  }
  // Sets a text and gives what is read back.
  std::wstring RoundTrip(const wchar_t* name, const std::wstring& text) {
    Set(name, text);
    return Get(name);
  }
  // The text of the exception that setting raises.
  template <class Exception>
  std::string Failure(const wchar_t* name, const std::wstring& text) {
    try {
      Set(name, text);
    } catch (const Exception& error) {
      return error.what();
    }
    return "none";
  }

  Constants constants_;
};

TEST(EffectDescriptions, XmlListsAttributesInOrderOnOneLine) {
  EXPECT_EQ(
      VantraFx::Posterize().GetXmlAttributes(),
      "<?xml version='1.0'?> <attributes> <attribute name='Amout' type='int'> <min value='1'/> "
      "<max value='256'/> <def value='10'/> </attribute> </attributes>");
  const std::string& xml = SampleDescription().GetXml();
  EXPECT_NE(xml.find("<attribute name='Strength' type='float'> <min value='0'/> <max value='1'/> "
                     "<def value='0.08'/> <step value='0.01'/> </attribute> <attribute "
                     "name='Steps'"),
            std::string::npos);
  EXPECT_NE(xml.find("<attribute name='Center' type='position'> <min value='-1,-1'/> <max "
                     "value='1,1'/> <def value='0.5,0.5'/> </attribute>"),
            std::string::npos);
  EXPECT_NE(xml.find("<attribute name='Flag' type='bool'> <def value='true'/> </attribute>"),
            std::string::npos);
  EXPECT_NE(xml.find("<attribute name='Texture' type='Texture'> </attribute> </attributes>"),
            std::string::npos);
}

TEST(EffectDescriptions, TheRegistrationDescriptorHasAFixedForm) {
  EXPECT_EQ(SampleDescription().GetRegistrationXml(),
            L"<?xml version='1.0'?> <Effect> <!-- System Properties --> <Property "
            L"name='DisplayName' type='string' value='A Sample'/> <Property name='Author' "
            L"type='string' value='Vantrix'/> <Property name='Category' type='string' "
            L"value='Distortion'/> <Property name='Description' type='string' value='Sample "
            L"effect'/> <Inputs> <Input name='Source'/> <Input name='Map'/> </Inputs> </Effect>");
}

TEST(EffectDescriptions, NamesAreFoundInAnyCase) {
  EXPECT_EQ(SampleDescription().Find(L"CENTER")->count, 2u);
  EXPECT_EQ(SampleDescription().Find(L"Cente"), nullptr);
  EXPECT_EQ(SampleDescription().Find(L""), nullptr);
  EXPECT_EQ(SampleDescription().Find(nullptr), nullptr);
}

TEST_F(AttributeValues, FloatsAreReadLikeStofAndPrintedWithSixDigits) {
  EXPECT_EQ(Get(L"Strength"), L"0.250000");
  EXPECT_EQ(RoundTrip(L"Strength", L" \t0.08 and more"), L"0.080000");
  EXPECT_EQ(RoundTrip(L"Strength", L"-1e2"), L"-100.000000");
  EXPECT_EQ(RoundTrip(L"Strength", L"5"), L"5.000000");
  EXPECT_EQ(Failure<std::invalid_argument>(L"Strength", L"abc"), "invalid stof argument");
  EXPECT_EQ(Failure<std::invalid_argument>(L"Strength", L""), "invalid stof argument");
  EXPECT_EQ(Failure<std::out_of_range>(L"Strength", L"1e99"), "stof argument out of range");
  EXPECT_EQ(Get(L"Strength"), L"5.000000");
}

TEST_F(AttributeValues, ADecimalCommaOfTheHostsLocaleChangesNothing) {
  const std::string former = std::setlocale(LC_ALL, nullptr);
  for (const char* locale : {"de_DE.UTF-8", "fr_FR.UTF-8", "C.UTF-8"}) {
    if (!std::setlocale(LC_ALL, locale)) continue;
    EXPECT_EQ(RoundTrip(L"Strength", L"0.5"), L"0.500000");
    EXPECT_EQ(RoundTrip(L"Center", L"0.25;0.75"), L"0.25,0.75");
  }
  std::setlocale(LC_ALL, former.c_str());
}

TEST_F(AttributeValues, WholeNumbersInFloatsAreRoundedWhenRead) {
  EXPECT_EQ(Get(L"Steps"), L"10");
  EXPECT_EQ(RoundTrip(L"Steps", L"-9.5"), L"-10");
  EXPECT_EQ(constants_.steps, -9.5f);
  EXPECT_EQ(RoundTrip(L"Steps", L"-0.4"), L"0");
  EXPECT_EQ(RoundTrip(L"Steps", L"7.49"), L"7");
  EXPECT_EQ(Failure<std::invalid_argument>(L"Steps", L"x"), "invalid stof argument");
}

TEST_F(AttributeValues, IntegersTakeTheWholePartOfAText) {
  EXPECT_EQ(RoundTrip(L"Count", L"-4.9"), L"-4");
  EXPECT_EQ(Failure<std::invalid_argument>(L"Count", L".5"), "invalid stoi argument");
  EXPECT_EQ(Failure<std::out_of_range>(L"Count", L"2147483648"), "stoi argument out of range");
  EXPECT_EQ(Get(L"Count"), L"-4");
  EXPECT_EQ(RoundTrip(L"Drops", L"4294967295"), L"4294967295");
  EXPECT_EQ(Failure<std::out_of_range>(L"Drops", L"4294967296"), "stoul argument out of range");
  EXPECT_EQ(Failure<std::out_of_range>(L"Drops", L"-9223372036854775808"),
            "stoul argument out of range");
  EXPECT_EQ(Failure<std::invalid_argument>(L"Drops", L"no"), "invalid stoul argument");
  EXPECT_EQ(RoundTrip(L"Drops", L"-1"), L"4294967295");
}

TEST_F(AttributeValues, OnlyTheExactTextFalseIsFalse) {
  EXPECT_EQ(RoundTrip(L"Flag", L"false"), L"false");
  for (const wchar_t* text : {L"False", L"", L"false ", L"0", L"true"}) {
    EXPECT_EQ(RoundTrip(L"Flag", text), L"true") << text;
  }
}

TEST_F(AttributeValues, ListsTakeAnySeparatorAndStopAtAnEmptyElement) {
  for (const wchar_t* text :
       {L"0.25 0.75", L"0.25,0.75", L"0.25;0.75", L"0.25:0.75", L"0.25 \t\n0.75"}) {
    constants_.center[0] = constants_.center[1] = 0;
    EXPECT_EQ(RoundTrip(L"Center", text), L"0.25,0.75") << text;
  }
  EXPECT_EQ(RoundTrip(L"Center", L"0.5"), L"0.5,0.75");
  EXPECT_EQ(RoundTrip(L"Center", L",9,9"), L"0.5,0.75");
  EXPECT_EQ(RoundTrip(L"Center", L""), L"0.5,0.75");
  EXPECT_EQ(RoundTrip(L"Center", L"1, 2"), L"1,0.75");
  EXPECT_EQ(RoundTrip(L"Center", L"1,2,3,4"), L"1,2");
  EXPECT_EQ(RoundTrip(L"Color", L"0.1,0.123456789,1e-9,1000000"), L"0.1,0.123457,1e-09,1e+06");
  EXPECT_EQ(RoundTrip(L"Tint", L"1,1,1,1"), L"1,1,1");
  EXPECT_EQ(Failure<std::invalid_argument>(L"Center", L"5,x"), "invalid stof argument");
  EXPECT_EQ(Get(L"Center"), L"1,2");
}

TEST_F(AttributeValues, AMappedAttributeKeepsTheConstantInItsOwnScale) {
  EXPECT_EQ(RoundTrip(L"Kelvin", L"0.3"), L"0.300000");
  EXPECT_EQ(constants_.kelvin, 4000.0f);
}

TEST_F(AttributeValues, NumbersGoToScalarsOnlyAndNeverOverflow) {
  const auto set = [this](const wchar_t* name, float value) {
    SetAttributeNumber(*SampleDescription().Find(name), value, &constants_);
  };
  set(L"Strength", 0.75f);
  EXPECT_EQ(constants_.strength, 0.75f);
  set(L"Count", -2.9f);
  EXPECT_EQ(constants_.count, -2);
  set(L"Count", 1e30f);
  EXPECT_EQ(constants_.count, std::numeric_limits<std::int32_t>::max());
  set(L"Count", std::nanf(""));
  EXPECT_EQ(constants_.count, 0);
  set(L"Drops", -5.0f);
  EXPECT_EQ(constants_.drops, 0u);
  set(L"Flag", 0.0f);
  EXPECT_EQ(constants_.flag, 0.0f);
  set(L"Kelvin", 0.5f);
  EXPECT_EQ(constants_.kelvin, 5000.0f);
  set(L"Center", 9.0f);
  EXPECT_EQ(Get(L"Center"), L"0.5,0.5");
  EXPECT_EQ(Get(L"Texture"), L"untouched");
}

}  // namespace
}  // namespace Vantra
