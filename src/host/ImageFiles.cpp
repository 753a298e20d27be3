#include "host/ImageFiles.h"

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

Result<std::unique_ptr<ImageDirectory>> ImageDirectory::open(std::filesystem::path dir) {
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  if (ec || !std::filesystem::is_directory(dir, ec))
    return Status::failure("--images: cannot create the directory " + dir.string() + (ec ? ": " + ec.message() : ""));
  return std::unique_ptr<ImageDirectory>(new ImageDirectory(std::move(dir)));
}

std::string ImageDirectory::write(const Image& image, std::string_view place) {
  if (!status_) return {};
  const std::string stem = fileStem(place);
  std::string name = stem + ".png";
  for (int n = 2; used_.contains(name); ++n) name = stem + "-" + std::to_string(n) + ".png";
  used_.insert(name);
  const std::filesystem::path file = dir_ / name;
  status_ = image.writePng(file).within("--images");
  return status_ ? file.string() : std::string();
}

Result<OutputForms> outputForms(std::string_view timeZone, const std::optional<std::filesystem::path>& imagesDir) {
  OutputForms output{JsonForms(timeZone), nullptr};
  if (imagesDir) {
    Result<std::unique_ptr<ImageDirectory>> opened = ImageDirectory::open(*imagesDir);
    if (!opened) return opened.status();
    output.images = *std::move(opened);
    ImageDirectory* dir = output.images.get();
    output.forms.writeImage = [dir](const Image& image, std::string_view place) { return dir->write(image, place); };
  }
  return output;
}

Status requirePictures(RunCaches& caches) {
  std::string message;
  for (const MissingPicture& picture : missingPictures(caches))
    message +=
        (message.empty() ? "" : "\n") + picture.file.string() + ": picture \"" + picture.name + "\" " + picture.problem;
  return message.empty() ? Status() : Status::failure(message);
}

}  // namespace velmora::host
