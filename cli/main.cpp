#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <fmt/format.h>
#include <map>
#include <new>
#include <unistd.h>

#include "cli/apply_command.h"
#include "cli/command_error.h"
#include "cli/convert_command.h"
#include "cli/effect_commands.h"
#include "cli/engines_command.h"
#include "cli/gallery_command.h"
#include "cli/gif_command.h"
#include "cli/info_command.h"
#include "cli/resources_command.h"
#include "cli/text.h"

namespace {

using namespace Vantrix::Command;

// The options of a chain of effects.
class ChainArguments {
 public:
  explicit ChainArguments(CLI::App* command) : command_(command) {
    effect_ = command
                  ->add_option("-e,--effect", texts_,
                               "Effect name; CLSID_ may be left out. Several make a chain")
                  ->expected(1)
                  ->take_all();
    setting_ =
        command->add_option("-s,--set", texts_, "Attribute of the effect before it, as Name=Value")
            ->expected(1)
            ->take_all();
    command->add_option("--amount", options_.amount, "Strength, for effects that have one");
    command->add_option("--mouse", options_.mouse, "Place as X,Y, in 0 to 1");
  }

  ChainArguments(const ChainArguments&) = delete;
  ChainArguments& operator=(const ChainArguments&) = delete;

  void RequireEffect() { effect_->required(); }

  // Attributes belong to the effect before them, so the order of both options counts.
  ChainOptions Read() const {
    ChainOptions options = options_;
    std::map<const CLI::Option*, std::size_t> read;
    for (const CLI::Option* option : command_->parse_order()) {
      if (option != effect_ && option != setting_) continue;
      const std::string& value = option->results().at(read[option]++);
      if (option == effect_) {
        options.links.push_back({value, {}});
      } else if (options.links.empty()) {
        throw CommandError(kWrongUsage,
                           fmt::format("-s {}: it belongs behind the -e of its effect", value));
      } else {
        options.links.back().settings.push_back(value);
      }
    }
    return options;
  }

 private:
  CLI::App* command_;
  CLI::Option* effect_;
  CLI::Option* setting_;
  // What the options were given is read from them; it only has to be stored somewhere.
  std::vector<std::string> texts_;
  ChainOptions options_;
};

int Run(int argc, char** argv) {
  CLI::App app{"Renders image effects off screen.", "vantrix"};
  app.require_subcommand(1);

  std::string engine = "auto";
  const auto add_engine = [&engine](CLI::App* command) {
    command->add_option("--engine", engine, "auto, cpu, vulkan or vulkan:N")->capture_default_str();
  };
  ApplyOptions options;
  CLI::App* apply = app.add_subcommand("apply", "Run a picture through effects");
  apply
      ->add_option("INPUT", options.input,
                   "Picture file, of BMP, DDS, GIF, HD Photo, JPEG, PNG, TIFF or WebP; its first "
                   "picture is taken")
      ->required();
  apply
      ->add_option(
          "OUTPUT", options.output,
          "Picture file of the format that its extension names, of bmp, dds, gif, jpg, jxr, png, "
          "tif and webp, else PNG, or raw premultiplied BGRA rows for .bgra")
      ->required();
  ChainArguments apply_chain(apply);
  apply_chain.RequireEffect();
  apply->add_option("--time", options.time, "Time in milliseconds");
  apply->add_option("--size", options.size, "Scale the picture to fill WxH pixels, and cut it");
  add_engine(apply);

  GifOptions gif_options;
  CLI::App* gif = app.add_subcommand("gif", "Run an animation through effects, frame by frame");
  gif->add_option("INPUT", gif_options.input, "GIF or animated WebP")->required();
  gif->add_option(
         "OUTPUT", gif_options.output,
         "Animation, .gif or .webp, with the file's own delays and its loops, or a folder, made "
         "if missing, for numbered pictures")
      ->required();
  ChainArguments gif_chain(gif);
  gif->add_option("--format", gif_options.format,
                  "Extension of the pictures in a folder, as apply knows it; png without it");
  add_engine(gif);

  bool json = false;
  bool xml = false;
  std::string name;
  CLI::App* list = app.add_subcommand("effects", "List the effects");
  list->add_flag("--json", json, "Print JSON");
  CLI::App* describe = app.add_subcommand("describe", "Print the attributes of an effect");
  describe->add_option("EFFECT", name, "Effect name; CLSID_ may be left out")->required();
  describe->add_flag("--json", json, "Print JSON");
  describe->add_flag("--xml", xml, "Print the effect's own XML")->excludes("--json");

  std::vector<std::string> files;
  CLI::App* info = app.add_subcommand("info", "Tell format, size and frames of picture files");
  info->add_option("FILE", files, "Picture files")->required();
  info->add_flag("--json", json, "Print JSON");

  std::vector<std::string> extract;
  CLI::App* resources = app.add_subcommand("resources", "List what is stored in the library");
  resources->add_option("--extract", extract, "Write one resource to a file")
      ->type_name("NAME FILE")
      ->expected(2);

  ConvertOptions conversion;
  CLI::App* convert = app.add_subcommand("convert", "Turn a raw video frame into a picture");
  convert->add_option("INPUT", conversion.input, "Raw frame without padding")->required();
  convert->add_option("OUTPUT", conversion.output, "Picture file, or raw BGRA rows for .bgra")
      ->required();
  convert->add_option("--format", conversion.format, "nv12, i420, yuy2, ayuv or grey")->required();
  convert->add_option("--size", conversion.size, "Size of the frame as WxH")->required();
  add_engine(convert);

  GalleryOptions gallery_options;
  CLI::App* gallery = app.add_subcommand("gallery", "Make a page that shows every effect");
  gallery->add_option("OUTDIR", gallery_options.folder, "Folder of the page")->required();
  gallery->add_option("PHOTO", gallery_options.photo, "Picture file to draw on");
  gallery->add_option("--size", gallery_options.size, "Size of the pictures as WxH")
      ->capture_default_str();
  add_engine(gallery);

  CLI::App* engines = app.add_subcommand("engines", "List what can be rendered on");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return app.exit(error);
    PrintError(fmt::format("{} (see --help)", error.what()).c_str());
    return kWrongUsage;
  }
  const Output output = json ? Output::kJson : xml ? Output::kXml : Output::kText;
  if (engines->parsed()) {
    ListEngines();
  } else if (list->parsed()) {
    ListEffects(output);
  } else if (describe->parsed()) {
    DescribeEffect(name, output);
  } else if (info->parsed()) {
    if (!PrintInfo(files, output)) return kFailed;
  } else if (resources->parsed()) {
    if (extract.empty()) {
      ListResources();
    } else {
      ExtractResource(extract[0], extract[1]);
    }
  } else if (convert->parsed()) {
    SelectEngine(engine);
    Convert(conversion);
  } else if (gallery->parsed()) {
    SelectEngine(engine);
    MakeGallery(gallery_options);
  } else if (gif->parsed()) {
    gif_options.chain = gif_chain.Read();
    SelectEngine(engine);
    ConvertAnimation(gif_options);
  } else {
    options.chain = apply_chain.Read();
    SelectEngine(engine);
    Apply(options);
  }
  return kDone;
}

// Takes the numbers of standard streams that were closed, which a file opened later would get, and
// then the messages with it. Nothing can be written to them.
void FillClosedStreams() {
  int file = 0;
  while ((file = open("/dev/null", O_RDONLY)) >= 0 && file <= STDERR_FILENO) {
  }
  if (file >= 0) close(file);
}

}  // namespace

int main(int argc, char** argv) {
  FillClosedStreams();
  try {
    const int code = Run(argc, argv);
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
      throw CommandError(kFailed, "the standard output cannot be written");
    }
    return code;
  } catch (const CommandError& error) {
    PrintError(error.what());
    return error.Code();
  } catch (const std::bad_alloc&) {
    PrintError("not enough memory");
  } catch (const std::exception& error) {
    PrintError(error.what());
  }
  return kFailed;
}
