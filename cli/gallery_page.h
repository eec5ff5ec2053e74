#pragma once

#include <string>
#include <vector>

#include "cli/text.h"

namespace Vantrix::Command {

// What the page shows of one effect. Texts are plain; the page escapes them.
struct GalleryCard {
  struct Attribute {
    std::string name;
    std::string type;
    // Empty where there is none.
    std::string range = {};
    std::string step = {};
    std::string def = {};
    // Whether it has a name only, and is no attribute that the effect describes.
    bool by_number = false;
  };

  // The host's name, behind "CLSID_".
  std::string name;
  std::string display_name;
  std::string category;
  std::string description;
  std::vector<Attribute> attributes;
  // As Name=Value; none stands for the start values.
  std::vector<std::string> settings;
  // Said below the pictures; may be empty.
  std::string note;
  // Links to the pictures, relative to the page.
  std::string before;
  std::string after;
  // Why there is no picture `after`; empty when there is one.
  std::string failure;
};

struct GalleryPage {
  // What the pictures show, as in "the sample drawing".
  std::string subject;
  // The device that they were drawn on.
  std::string engine;
  Size picture_size;
  std::vector<GalleryCard> cards;
};

// The page as one HTML document, which needs nothing but its pictures.
std::string FormatPage(const GalleryPage& page);

}  // namespace Vantrix::Command
