#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "drawing/Image.h"
#include "host/JsonForms.h"

namespace velmora::host {

// The directory given with --images: each image of the output becomes one
// PNG file there, named after its place in the output ("ringsImage.png",
// "1-swiftSleepBankImage.png").
class ImageDirectory {
 public:
  // Creates the directory when it does not exist; throws CommandError when it cannot.
  explicit ImageDirectory(std::filesystem::path dir);

  // Writes the image and returns the file's path; throws CommandError when
  // the file cannot be written.
  std::string write(const Image& image, std::string_view place);

 private:
  std::filesystem::path dir_;
  std::set<std::string, std::less<>> used_;
};

// The JSON forms of a command's output in the run's zone. With --images the
// directory is opened into `images`, and each image of the output is written
// there and named in its form.
JsonForms outputForms(std::string_view timeZone, const std::optional<std::filesystem::path>& imagesDir,
                      std::unique_ptr<ImageDirectory>& images);

// Throws CommandError naming each picture file the run asked for and could
// not have (`missingPictures`): what would be written was drawn without it.
void requirePictures(RunCaches& caches);

}  // namespace velmora::host
