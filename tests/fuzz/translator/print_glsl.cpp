#include <fmt/format.h>
#include <iterator>
#include <sstream>
#include <utility>

#include "program.h"

namespace Vantra::TranslatorFuzz {
namespace {

std::string Name(Op op, bool vector) {
  // In the order of `Op`.
  static const std::vector<std::string> kNames = [] {
    std::istringstream text(
        "+ - * * / % & | ^ << >> < <= > >= == != && || ^^ - ~ ! ? abs sign min max clamp floor "
        "ceil trunc roundEven fract mod step mix mix smoothstep fma sqrt inversesqrt sin cos "
        "tan asin acos atan atan sinh cosh tanh asinh acosh atanh exp log exp2 log2 pow radians "
        "degrees ldexp dot length distance normalize cross reflect refract faceforward "
        "transpose determinant inverse outerProduct matrixCompMult any all not isnan isinf "
        "bitCount bitfieldReverse findLSB findMSB bitfieldExtract bitfieldInsert floatBitsToInt "
        "floatBitsToUint BitsToFloat packHalf2x16 unpackHalf2x16 packUnorm4x8 unpackUnorm4x8 "
        "packSnorm4x8 unpackSnorm4x8 packUnorm2x16 unpackUnorm2x16 modf frexp uaddCarry "
        "usubBorrow mulExtended inputPosition inputPixel own sample fetch size");
    return std::vector<std::string>(std::istream_iterator<std::string>(text), {});
  }();
  static constexpr std::array<const char*, 6> kVectorComparisons = {
      "lessThan", "lessThanEqual", "greaterThan", "greaterThanEqual", "equal", "notEqual"};
  if (vector && op >= Op::kLess && op <= Op::kNotEqual) {
    return kVectorComparisons[static_cast<std::size_t>(op) - static_cast<std::size_t>(Op::kLess)];
  }
  return kNames[static_cast<std::size_t>(op)];
}

class Printer {
 public:
  explicit Printer(const Program& program) : program_(program) {}

  std::string Print() {
    Line("#version 450");
    Line("#extension GL_GOOGLE_include_directive : require");
    if (program_.sampler_register == 1) Line("#define MESH_TEXTURE_SAMPLER_REGISTER 1");
    Line("#include \"pixel.glsl\"");
    // As functions, since a sampled image must be used in the block where it is made.
    for (const auto& [name, texture] :
         {std::pair{"0", "InputTexture"}, std::pair{"1", "Texture1"}, std::pair{"2", "Texture2"}}) {
      const std::string image = std::string("(sampler2D(") + texture + ", MeshTextureSampler), ";
      Line(std::string("vec4 fetch") + name + "(ivec2 at) { return texelFetch" + image +
           "at, 0); }");
      Line(std::string("ivec2 size") + name + "() { return textureSize" + image + "0); }");
    }
    for (std::size_t i = 0; i < program_.structures.size(); ++i) {
      Line(fmt::format("struct S{}", i) + " {");
      int field = 0;
      for (const Type& type : program_.structures[i]) {
        Line("  " + Declaration(type, fmt::format("m{}", field++)) + ";");
      }
      Line("};");
    }
    Line("CONSTANTS {");
    for (std::size_t i = 0; i < program_.variables.size(); ++i) {
      const Variable& variable = program_.variables[i];
      if (variable.kind == Variable::Kind::kConstant) {
        Line("  " + Declaration(variable.type, NameOf(static_cast<int>(i))) + ";");
      }
    }
    Line("};");
    for (std::size_t i = 0; i < program_.variables.size(); ++i) {
      const Variable& variable = program_.variables[i];
      if (variable.kind == Variable::Kind::kTable) {
        Type element = variable.type;
        element.length = 0;
        Expression constant;
        constant.type = element;
        std::string list;
        for (int n = 0; n < variable.type.length; ++n) {
          const auto first = program_.memory.begin() + variable.address + n * element.Components();
          constant.words.assign(first, first + element.Components());
          list += (n ? ", " : "") + Constant(constant);
        }
        Line("const " + Declaration(variable.type, NameOf(static_cast<int>(i))) + " = " +
             TypeName(variable.type) + "(" + list + ");");
      }
    }
    for (std::size_t i = 0; i < program_.functions.size(); ++i) PrintFunction(i);
    return std::move(text_);
  }

 private:
  std::string TypeName(const Type& type) const {
    std::string name;
    if (type.structure >= 0) {
      name = fmt::format("S{}", type.structure);
    } else if (type.columns > 1) {
      name = fmt::format("mat{}", type.columns);
    } else {
      static constexpr std::array<const char*, 4> kScalars = {"bool", "int", "uint", "float"};
      static constexpr std::array<const char*, 4> kVectors = {"bvec", "ivec", "uvec", "vec"};
      const auto scalar = static_cast<std::size_t>(type.scalar);
      name = type.rows > 1 ? kVectors[scalar] + std::to_string(type.rows) : kScalars[scalar];
    }
    return type.length > 0 ? name + "[" + std::to_string(type.length) + "]" : name;
  }
  std::string Declaration(Type type, const std::string& name) const {
    const int length = std::exchange(type.length, 0);
    return TypeName(type) + " " + name + (length > 0 ? fmt::format("[{}", length) + "]" : "");
  }
  std::string NameOf(int variable) const {
    static constexpr std::array<const char*, 4> kPrefixes = {"v", "k", "table", "uv"};
    const auto kind = program_.variables[static_cast<std::size_t>(variable)].kind;
    const std::string prefix = kPrefixes[static_cast<std::size_t>(kind)];
    return kind == Variable::Kind::kUv ? prefix : prefix + std::to_string(variable);
  }

  static std::string ScalarConstant(Scalar scalar, Word word) {
    switch (scalar) {
      case Scalar::kBool:
        return word ? "true" : "false";
      case Scalar::kInt:
        // The smallest int is no literal.
        if (word == 0x80000000u) return "int(0x80000000u)";
        return fmt::format("({})", ToInt(word));
      case Scalar::kUint:
        return std::to_string(word) + "u";
      case Scalar::kFloat:
        break;
    }
    return fmt::format("({:.9e})", ToFloat(word));
  }
  std::string Constant(const Expression& expression) const {
    std::string list;
    for (const Word word : expression.words) {
      list += (list.empty() ? "" : ", ") + ScalarConstant(expression.type.scalar, word);
    }
    return expression.type.IsScalar() ? list : TypeName(expression.type) + "(" + list + ")";
  }

  std::string List(const std::vector<Expr>& expressions) const {
    std::string list;
    for (const Expr& expression : expressions) {
      list += (list.empty() ? "" : ", ") + Print(*expression);
    }
    return list;
  }

  std::string Print(const Expression& e) const {
    switch (e.kind) {
      case Expression::Kind::kConstant:
        return Constant(e);
      case Expression::Kind::kVariable:
        return NameOf(e.index);
      case Expression::Kind::kElement:
        return Print(*e.operands[0]) + "[" + Print(*e.operands[1]) + "]";
      case Expression::Kind::kField:
        return Print(*e.operands[0]) + ".m" + std::to_string(e.index);
      case Expression::Kind::kSwizzle: {
        std::string text = Print(*e.operands[0]) + ".";
        for (int i = 0; i < e.type.rows; ++i)
          text += "xyzw"[e.swizzle[static_cast<std::size_t>(i)]];
        return text;
      }
      case Expression::Kind::kConstruct:
        return TypeName(e.type) + "(" + List(e.operands) + ")";
      case Expression::Kind::kOperation:
        break;
    }
    const bool vector = e.type.rows > 1;
    const std::string name = Name(e.op, vector);
    const auto& operands = e.operands;
    if (e.op <= Op::kLogicalXor && !(vector && e.op >= Op::kLess && e.op <= Op::kNotEqual)) {
      return "(" + Print(*operands[0]) + " " + name + " " + Print(*operands[1]) + ")";
    }
    if (e.op <= Op::kLogicalNot && e.op >= Op::kNeg) {
      return "(" + name + Print(*operands[0]) + ")";
    }
    switch (e.op) {
      case Op::kSelect:
        return "(" + Print(*operands[0]) + " ? " + Print(*operands[1]) + " : " +
               Print(*operands[2]) + ")";
      case Op::kBitsToFloat:
      case Op::kMulExtended: {
        const bool is_signed = operands[0]->type.scalar == Scalar::kInt;
        const std::string prefix =
            e.op == Op::kBitsToFloat ? (is_signed ? "int" : "uint") : (is_signed ? "i" : "u");
        return prefix + name + "(" + List(operands) + ")";
      }
      case Op::kSample: {
        static constexpr std::array<const char*, 3> kReads = {"sampleInput(", "sampleTexture1(",
                                                              "sampleTexture2("};
        return kReads[static_cast<std::size_t>(e.index)] + List(operands) + ")";
      }
      case Op::kFetch:
      case Op::kTextureSize:
        return name + std::to_string(e.index) + "(" + List(operands) + ")";
      default:
        return name + "(" + List(operands) + ")";
    }
  }

  void PrintFunction(std::size_t index) {
    const Function& function = program_.functions[index];
    const bool is_shade = index + 1 == program_.functions.size();
    std::string parameters;
    for (std::size_t i = 0; i < function.parameters.size(); ++i) {
      static constexpr std::array<const char*, 3> kDirections = {"", "out ", "inout "};
      const int variable = function.parameters[i];
      parameters += (i ? ", " : "") +
                    std::string(kDirections[static_cast<std::size_t>(function.directions[i])]) +
                    Declaration(program_.variables[static_cast<std::size_t>(variable)].type,
                                NameOf(variable));
    }
    Line((function.has_result ? TypeName(function.result) : "void") + " " +
         (is_shade ? "shade" : fmt::format("f{}", index)) + "(" + parameters + ") {");
    PrintBlock(function.body);
    Line("}");
  }

  void PrintBlock(const Block& block) {
    ++depth_;
    for (const Statement& statement : block) PrintStatement(statement);
    --depth_;
  }

  std::string Start(int variable) const {
    return Declaration(program_.variables[static_cast<std::size_t>(variable)].type,
                       NameOf(variable)) +
           " = ";
  }

  void PrintStatement(const Statement& s) {
    switch (s.kind) {
      case Statement::Kind::kDeclare:
        return Line(Start(s.variable) + Print(*s.value) + ";");
      case Statement::Kind::kAssign:
        return Line(Print(*s.target) + " = " + Print(*s.value) + ";");
      case Statement::Kind::kEvaluate:
        return Line(Print(*s.value) + ";");
      case Statement::Kind::kCall:
        return Line((s.variable >= 0 ? Start(s.variable) : "") + "f" + std::to_string(s.function) +
                    "(" + List(s.arguments) + ");");
      case Statement::Kind::kIf:
        Line("if (" + Print(*s.value) + ") {");
        PrintBlock(s.blocks[0]);
        if (s.blocks.size() > 1) {
          Line("} else {");
          PrintBlock(s.blocks[1]);
        }
        return Line("}");
      case Statement::Kind::kFor: {
        const std::string name = NameOf(s.variable);
        Line("for (int " + name + " = 0; " + name + " < " + Print(*s.value) + "; ++" + name +
             ") {");
        PrintBlock(s.blocks[0]);
        return Line("}");
      }
      case Statement::Kind::kWhile:
      case Statement::Kind::kDoWhile: {
        const std::string name = NameOf(s.variable);
        const std::string head =
            "while (" + name + " < " + std::to_string(s.limit) + " && " + Print(*s.value) + ")";
        const bool is_do = s.kind == Statement::Kind::kDoWhile;
        Line("int " + name + " = 0;");
        Line(is_do ? "do {" : head + " {");
        Line("  " + name + " += 1;");
        PrintBlock(s.blocks[0]);
        return Line(is_do ? "} " + head + ";" : "}");
      }
      case Statement::Kind::kSwitch:
        Line("switch (" + Print(*s.value) + ") {");
        for (std::size_t i = 0; i < s.labels.size(); ++i) {
          Line(s.labels[i] < 0 ? "default: {" : fmt::format("case {}", s.labels[i]) + ": {");
          PrintBlock(s.blocks[i]);
          Line(s.falls_through[i] ? "}" : "} break;");
        }
        return Line("}");
      case Statement::Kind::kBreak:
        return Line("break;");
      case Statement::Kind::kContinue:
        return Line("continue;");
      case Statement::Kind::kReturn:
        return Line(s.value ? "return " + Print(*s.value) + ";" : "return;");
    }
  }

  void Line(const std::string& line) {
    text_.append(static_cast<std::size_t>(2 * depth_), ' ').append(line).append("\n");
  }

  const Program& program_;
  std::string text_;
  int depth_ = 0;
};

}  // namespace

std::string PrintGlsl(const Program& program) { return Printer(program).Print(); }

}  // namespace Vantra::TranslatorFuzz
