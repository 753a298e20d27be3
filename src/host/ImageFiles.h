#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "drawing/Image.h"
#include "host/JsonForms.h"
#include "values/Status.h"

namespace velmora::host {

// The directory given with --images: each image of the output becomes one
// PNG file there, named after its place in the output ("ringsImage.png",
// "1-swiftSleepBankImage.png").
class ImageDirectory {
 public:
  // Creates the directory when it does not exist; a failure says why it cannot be.
  static Result<std::unique_ptr<ImageDirectory>> open(std::filesystem::path dir);

  // Writes the image and returns the file's path. Once a file cannot be
  // written it writes no more, returning "" (`status` says why): images are
  // written while the output is made, and a command whose images are not all
  // written prints nothing.
  std::string write(const Image& image, std::string_view place);
  // Success, or why the first file that failed could not be written.
  const Status& status() const { return status_; }

 private:
  explicit ImageDirectory(std::filesystem::path dir) : dir_(std::move(dir)) {}

  std::filesystem::path dir_;
  std::set<std::string, std::less<>> used_;
  Status status_;
};

// The JSON forms of a command's output in the run's zone, and with --images
// the directory where each image of the output is written and named in its form.
struct OutputForms {
  JsonForms forms;
  std::unique_ptr<ImageDirectory> images;

  // Whether every image the forms met is written.
  Status imagesWritten() const { return images ? images->status() : Status(); }
};
Result<OutputForms> outputForms(std::string_view timeZone, const std::optional<std::filesystem::path>& imagesDir);

// A failure naming each picture file the run asked for and could not have
// (`missingPictures`), a line each: what would be written was drawn without it.
Status requirePictures(RunCaches& caches);

}  // namespace velmora::host
