#include <vantrix/effects/engine/effectattributesparser.h>

#include <gtest/gtest.h>
#include <stdexcept>

namespace Vantra {
namespace {

using Type = EffectAttributesParser::Type;

TEST(EffectAttributesParser, ReadsNamesTypesAndBounds) {
  EffectAttributesParser parser;
  parser.Parse(
      "<?xml version='1.0'?> <attributes> <attribute name='Amout' type='int'> <min value='1'/> "
      "<max value='256'/> <other value='5'/> <def value='9'/> <def value='10'/> </attribute> "
      "<attribute type='int'/> <attribute name='F\xC3\xA9' type='double'/> <attribute name='C' "
      "type='COLOR'/> <attribute name='T' type='Texture'> <step/> </attribute> </attributes>");
  ASSERT_EQ(parser.GetAttributes().size(), 4u);
  const auto* amout = parser.GetAttribute(L"AMOUT");
  ASSERT_NE(amout, nullptr);
  EXPECT_EQ(amout->type, Type::Int);
  EXPECT_EQ(amout->attribute.name, L"Amout");
  EXPECT_EQ(amout->attribute.value, L"");
  EXPECT_EQ(amout->min->value, L"1");
  EXPECT_EQ(amout->max->value, L"256");
  EXPECT_EQ(amout->def->value, L"10");
  EXPECT_EQ(amout->step, nullptr);
  EXPECT_EQ(parser.GetAttribute(L"F\u00E9")->type, Type::Float);
  EXPECT_EQ(parser.GetAttribute(L"c")->type, Type::Color);
  EXPECT_EQ(parser.GetAttribute(L"T")->type, Type::Texture);
  EXPECT_EQ(parser.GetAttribute(L"T")->step->value, L"");
  EXPECT_EQ(parser.GetAttribute(L"Amou"), nullptr);
}

TEST(EffectAttributesParser, AppendsAndPassesOverWhatItDoesNotKnow) {
  EffectAttributesParser parser;
  const std::string xml = "<attributes><ATTRIBUTE NAME='A' TYPE='BOOL'/></attributes>";
  parser.Parse(xml);
  parser.Parse("");
  parser.Parse("<ATTRIBUTES><attribute name='B'/></ATTRIBUTES>");
  parser.Parse("<attributes><attribute name='C'></attributes>");
  parser.Parse("not xml <<<");
  EXPECT_EQ(parser.GetAttributes().size(), 1u);
  EXPECT_EQ(parser.GetAttribute(L"a")->type, Type::Bool);
  parser.Parse(xml);
  EXPECT_EQ(parser.GetAttributes().size(), 2u);
  EXPECT_EQ(parser.GetAttribute(L"A"), parser.GetAttributes()[0].get());
}

TEST(EffectAttributesParser, TextThatIsNotUtf8Raises) {
  EffectAttributesParser parser;
  try {
    parser.Parse("<attributes><attribute name='\xFF'/></attributes>");
    FAIL();
  } catch (const std::range_error& error) {
    EXPECT_STREQ(error.what(), "bad conversion");
  }
}

}  // namespace
}  // namespace Vantra
