// pixelc translates a program's SPIR-V to C++ over SIMD lanes, when the library is built.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "emit.h"
#include "lower.h"
#include "render/simd/kernel.h"
#include "spirv_module.h"
#include "tidy.h"

namespace {

std::vector<std::byte> ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file) throw std::runtime_error("cannot read " + path);
  std::vector<std::byte> result(bytes.size());
  std::memcpy(result.data(), bytes.data(), bytes.size());
  return result;
}

// The file is complete or is left as it was.
void WriteFile(const std::string& path, const std::string& text) {
  const std::string draft = path + ".new";
  {
    std::ofstream file(draft, std::ios::binary | std::ios::trunc);
    file << text << std::flush;
    if (!file) {
      std::remove(draft.c_str());
      throw std::runtime_error("cannot write " + path);
    }
  }
  std::error_code error;
  std::filesystem::rename(draft, path, error);
  if (error) {
    std::remove(draft.c_str());
    throw std::runtime_error("cannot write " + path + ": " + error.message());
  }
}

// The name becomes that of a function.
std::string CheckName(const std::string& name) {
  const auto fits = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  };
  const bool is_name = !name.empty() && (name[0] < '0' || name[0] > '9') &&
                       std::all_of(name.begin(), name.end(), fits);
  return is_name ? "" : "a name is made of letters, digits and underscores";
}

std::string Translate(const std::string& name, const std::string& path,
                      std::span<const std::byte> original) {
  const std::vector<std::byte> bytes = ReadFile(path);
  if (bytes.size() % 4 != 0) throw std::runtime_error(name + ": " + path + " is no SPIR-V");
  std::vector<std::uint32_t> words(bytes.size() / 4);
  std::memcpy(words.data(), bytes.data(), bytes.size());
  const Vantra::Pixelc::SpirvModule module(name, words);
  Vantra::Pixelc::Program program = Vantra::Pixelc::Lower(module);
  const std::string fault = Vantra::Pixelc::FaultOf(program);
  if (!fault.empty()) throw std::runtime_error(name + ": " + fault);
  program.name = name;
  return Vantra::Pixelc::EmitProgram(std::move(program),
                                     Vantra::Render::Simd::HashOfProgram(original));
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Translates a program's SPIR-V to C++ over SIMD lanes");
  std::string name;
  std::string original;
  std::string output;
  std::string input;
  app.add_option("--name", name, "Name of the program and of its kernel")
      ->required()
      ->check(CheckName);
  app.add_option("--program", original, "SPIR-V that the engines are given")->required();
  app.add_option("--output", output, "File to write")->required();
  app.add_option("input", input, "The same SPIR-V, normalized")->required();
  CLI11_PARSE(app, argc, argv);
  try {
    WriteFile(output, Translate(name, input, ReadFile(original)));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "pixelc: %s\n", error.what());
    return 1;
  }
  return 0;
}
