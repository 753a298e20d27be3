#include "palette/Pallet.h"

#include <array>
#include <string>
#include <string_view>

#include "store/UserDefaults.h"

namespace velmora {

namespace {

constexpr std::string_view kThemeKey = "darkTheme6";
constexpr std::array<float, 5> kDefaultHues{357, 34, 44, 128, 207};

}  // namespace

Pallet::Pallet(RunCaches& caches)
    : caches_(&caches), env_(&caches.environment()), standardDefaults_(UserDefaults::standard(*env_)) {
  readTheme();
  loadCustomHues();
}

void Pallet::readTheme() {
  if (standardDefaults_->objectForKey(kThemeKey)) {
    darkTheme_ = standardDefaults_->boolForKey(kThemeKey);
  } else {
    // First use: the app starts dark, and the choice is kept so that later
    // screens (and the app's settings) see the same theme.
    darkTheme_ = true;
    standardDefaults_->setBool(true, kThemeKey);
  }
}

void Pallet::setDarkTheme(bool dark) {
  if (!darkTheme_) temporaryDark_ = true;
  darkTheme_ = dark;
}

void Pallet::restoreTheme() {
  temporaryDark_ = false;
  readTheme();
}

void Pallet::loadCustomHues() {
  std::array<float*, 5> hues{&hue1_, &hue2_, &hue3_, &hue4_, &hue5_};
  // The app keeps the hues in its own defaults; the shared store holds the
  // ones set from elsewhere, and is opened only when a hue is missing here.
  std::shared_ptr<UserDefaults> shared;
  for (std::size_t i = 0; i < hues.size(); ++i) {
    *hues[i] = kDefaultHues[i];
    const std::string key = "Hue" + std::to_string(i + 1);
    if (auto own = standardDefaults_->objectForKey(key)) {
      *hues[i] = own->floatValue();
      continue;
    }
    if (!shared) shared = UserDefaults::suite(*env_, Environment::kSharedSuite);
    if (auto fromShared = shared->objectForKey(key)) *hues[i] = fromShared->floatValue();
  }
}

void Pallet::loadCustomHuesFromArray(const Array* hues) {
  if (hues == nullptr || hues->size() < 5) return;
  hue1_ = (*hues)[0].floatValue();
  hue2_ = (*hues)[1].floatValue();
  hue3_ = (*hues)[2].floatValue();
  hue4_ = (*hues)[3].floatValue();
  hue5_ = (*hues)[4].floatValue();
}

void Pallet::loadPrefs() {
  struct Pref {
    std::string_view key;
    float Pallet::*member;
    float fallback;
  };
  static constexpr std::array<Pref, 11> kPrefs{{
      {"maxHeartRate", &Pallet::maxHeartRate_, 180},
      {"restingElevated", &Pallet::restingElevated_, 100},
      {"restingHigh", &Pallet::restingHigh_, 80},
      {"restingNormal", &Pallet::restingNormal_, 50},
      {"restingLow", &Pallet::restingLow_, 40},
      {"restingVeryLow", &Pallet::restingVeryLow_, 40},
      {"workoutPercent1", &Pallet::workoutPercent1_, 90},
      {"workoutPercent2", &Pallet::workoutPercent2_, 80},
      {"workoutPercent3", &Pallet::workoutPercent3_, 70},
      {"workoutPercent4", &Pallet::workoutPercent4_, 60},
      {"workoutPercent5", &Pallet::workoutPercent5_, 50},
  }};
  for (const Pref& pref : kPrefs) {
    auto stored = standardDefaults_->objectForKey(pref.key);
    this->*pref.member = stored ? stored->floatValue() : pref.fallback;
  }
  miles_ = standardDefaults_->boolForKey("miles");
}

}  // namespace velmora
