#include "text/Bundle.h"

#include <unicode/localematcher.h>
#include <unicode/locid.h>

#include <algorithm>

#include "store/AtomicFile.h"
#include "store/PropertyList.h"

namespace velmora {

namespace {

constexpr std::string_view kTableSuffix = ".lproj";

// The table language a bundle picks for the preferred languages: ICU's
// locale matching over the tables present, English when nothing fits.
std::string matchLanguage(const std::vector<std::string>& available, const std::vector<std::string>& preferred) {
  if (available.empty() || preferred.empty()) return "en";
  UErrorCode status = U_ZERO_ERROR;
  icu::LocaleMatcher::Builder builder;
  std::vector<icu::Locale> supported;
  supported.reserve(available.size());
  for (const auto& lang : available) supported.push_back(icu::Locale::forLanguageTag(lang, status));
  if (U_FAILURE(status)) return "en";
  const icu::Locale english("en");
  builder.setSupportedLocales(supported.begin(), supported.end());
  builder.setDefaultLocale(&english);
  builder.setFavorSubtag(ULOCMATCH_FAVOR_LANGUAGE);
  icu::LocaleMatcher matcher = builder.build(status);
  if (U_FAILURE(status)) return "en";
  for (const auto& want : preferred) {
    UErrorCode s = U_ZERO_ERROR;
    icu::Locale desired = icu::Locale::forLanguageTag(want, s);
    if (U_FAILURE(s)) continue;
    icu::LocaleMatcher::Result result = matcher.getBestMatchResult(desired, s);
    if (U_SUCCESS(s) && result.getSupportedIndex() >= 0)
      return available[static_cast<std::size_t>(result.getSupportedIndex())];
  }
  return "en";
}

// The string table a file read holds, or why it holds none.
Result<Bundle::StringTable> tableIn(const FileSnapshot& file) {
  if (!file.status.ok()) return file.status;
  return Bundle::readStringTable(file.bytes);
}

}  // namespace

std::vector<std::string> Bundle::tableLanguages(const std::filesystem::path& dir) {
  std::vector<std::string> found;
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator(dir, ec)) {
    const std::string name = entry.path().filename().string();
    if (name.size() > kTableSuffix.size() && name.ends_with(kTableSuffix))
      found.push_back(name.substr(0, name.size() - kTableSuffix.size()));
  }
  std::sort(found.begin(), found.end());
  return found;
}

Bundle::Bundle(std::filesystem::path resourcesDir, const std::vector<std::string>& preferredLanguages,
               const WarningSink& warn)
    : dir_(std::move(resourcesDir)) {
  language_ = matchLanguage(tableLanguages(dir_), preferredLanguages);
  const auto file = dir_ / (language_ + std::string(kTableSuffix)) / "Localizable.strings";
  const FileSnapshot read = readWholeFile(file);
  if (!read.identity.exists) return;  // English has no table of its own: every key is its text
  if (Result<StringTable> table = tableIn(read))
    table_ = std::move(*table);
  else if (warn)
    warn(file.string() + ": not a string table (" + table.message() + ")");
}

Result<Bundle::StringTable> Bundle::readStringTable(std::span<const std::uint8_t> bytes) {
  const Result<PlistValue> read = parsePropertyList(bytes);
  if (!read) return read.status();
  const MetricDictionary* strings = read->value.dictionary();
  if (!strings) return Status::failure("not a dictionary");
  StringTable table;
  for (const auto& [key, value] : *strings)
    if (const std::string* text = value.text()) table.emplace(key, *text);
  return table;
}

std::string Bundle::localizedStringForKey(std::string_view key, std::string_view value) const {
  if (auto it = table_.find(std::string(key)); it != table_.end()) return it->second;
  return std::string(value.empty() ? key : value);
}

namespace {

std::string_view pictureBase(std::string_view name) {
  if (name.ends_with(".png")) name.remove_suffix(4);
  return name;
}

}  // namespace

std::filesystem::path Bundle::renditionFile(std::string_view name, int scale) const {
  return dir_ / "pictures" / (std::string(pictureBase(name)) + "@" + std::to_string(scale) + "x.png");
}

std::optional<Bundle::PictureFile> Bundle::pathForPicture(std::string_view name, int scale) const {
  const std::string base(pictureBase(name));
  if (base.empty()) return std::nullopt;
  std::error_code ec;
  auto found = [&](const std::filesystem::path& file) { return std::filesystem::is_regular_file(file, ec); };
  std::vector<int> scales{scale};
  for (int s = scale + 1; s <= kLargestRendition; ++s) scales.push_back(s);
  for (int s = std::min(scale - 1, kLargestRendition); s >= 1; --s) scales.push_back(s);
  for (int s : scales)
    if (auto file = renditionFile(base, s); found(file)) return PictureFile{file, s};
  if (auto file = dir_ / "pictures" / (base + ".png"); found(file)) return PictureFile{file, 1};
  return std::nullopt;
}

}  // namespace velmora
