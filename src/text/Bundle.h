#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "values/Environment.h"
#include "values/Status.h"

namespace velmora {

// The application bundle: string tables in "<language>.lproj/Localizable.strings"
// (property-list dictionaries from the English key to its translation) and
// named pictures. The table's language is the best match of the preferred
// languages among the tables present, else English, where every key is its
// own text.
class Bundle {
 public:
  Bundle(std::filesystem::path resourcesDir, const std::vector<std::string>& preferredLanguages,
         const WarningSink& warn = {});

  // `localizedStringForKey:value:table:` of the default table: the
  // translation, else `value` when it is not empty, else the key itself.
  std::string localizedStringForKey(std::string_view key, std::string_view value = {}) const;

  // The language whose table is in use ("en" when none matched).
  const std::string& language() const { return language_; }
  // The table in use: every English key it translates, with its translation.
  const std::unordered_map<std::string, std::string>& table() const { return table_; }

  // The languages of the string tables a bundle directory holds, sorted.
  static std::vector<std::string> tableLanguages(const std::filesystem::path& resourcesDir);

  // A named picture's rendition for a screen scale, as the asset catalogue
  // holds them: "<name>@<scale>x.png", else the nearest other scale (larger
  // ones first, which shrink more cleanly), else "<name>.png" at one pixel to
  // the point. A name that ends in ".png" ("RechargeBkg.png") names the same
  // renditions. Nothing when the bundle has no such picture.
  struct PictureFile {
    std::filesystem::path path;
    int scale = 1;  // pixels to the point
  };
  static constexpr int kLargestRendition = 4;
  std::optional<PictureFile> pathForPicture(std::string_view name, int scale) const;
  // Where the rendition of a picture for a scale is, whether or not it is there.
  std::filesystem::path renditionFile(std::string_view name, int scale) const;

  const std::filesystem::path& resourcesDir() const { return dir_; }

  // A string table's translations from its file's bytes: every entry of its
  // dictionary whose value is a text. A failure saying why when the bytes
  // are no property-list dictionary.
  using StringTable = std::unordered_map<std::string, std::string>;
  static Result<StringTable> readStringTable(std::span<const std::uint8_t> bytes);

 private:
  std::filesystem::path dir_;
  std::string language_ = "en";
  StringTable table_;
};

}  // namespace velmora
