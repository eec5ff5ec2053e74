#pragma once

#include <optional>
#include <string>

namespace Vantrix::Command {

struct GalleryOptions {
  // Made when it is not there. Files of other names in it are left alone.
  std::string folder;
  // The project's own drawing where none is given.
  std::optional<std::string> photo;
  // As WxH: that of the drawing, and what the photo is scaled down to fit.
  std::string size = "320x240";
};

// `vantrix gallery`: writes a page with every effect, its attributes and what it does to a
// picture, and tells its progress on the standard error stream. Throws `CommandError`; one that
// names effects which could not be drawn comes when everything else is written.
void MakeGallery(const GalleryOptions& options);

}  // namespace Vantrix::Command
