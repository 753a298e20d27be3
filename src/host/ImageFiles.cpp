#include "host/ImageFiles.h"

#include "host/Errors.h"

namespace velmora::host {

namespace {

// Keeps file names to letters, digits, '-', '_' and '.'.
std::string fileStem(std::string_view place) {
  std::string stem;
  for (const char c : place) {
    const bool plain =
        (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.';
    stem += plain ? c : '_';
  }
  return stem.empty() ? "image" : stem;
}

}  // namespace

ImageDirectory::ImageDirectory(std::filesystem::path dir) : dir_(std::move(dir)) {
  std::error_code ec;
  std::filesystem::create_directories(dir_, ec);
  if (ec || !std::filesystem::is_directory(dir_))
    throw CommandError("--images: cannot create the directory " + dir_.string() + (ec ? ": " + ec.message() : ""));
}

std::string ImageDirectory::write(const Image& image, std::string_view place) {
  const std::string stem = fileStem(place);
  std::string name = stem + ".png";
  for (int n = 2; used_.contains(name); ++n) name = stem + "-" + std::to_string(n) + ".png";
  used_.insert(name);
  const std::filesystem::path file = dir_ / name;
  std::string error;
  if (!image.writePng(file, &error)) throw CommandError("--images: " + error);
  return file.string();
}

JsonForms outputForms(std::string_view timeZone, const std::optional<std::filesystem::path>& imagesDir,
                      std::unique_ptr<ImageDirectory>& images) {
  JsonForms forms(timeZone);
  if (imagesDir) {
    images = std::make_unique<ImageDirectory>(*imagesDir);
    ImageDirectory* dir = images.get();
    forms.writeImage = [dir](const Image& image, std::string_view place) { return dir->write(image, place); };
  }
  return forms;
}

void requirePictures(RunCaches& caches) {
  std::string message;
  for (const MissingPicture& picture : missingPictures(caches))
    message += (message.empty() ? "" : "\nvelmora: ") + picture.file.string() + ": picture \"" + picture.name + "\" " +
               picture.problem;
  if (!message.empty()) throw CommandError(message);
}

}  // namespace velmora::host
