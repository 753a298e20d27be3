#pragma once

// Texts the font tests lay out, each reaching for faces beyond the system font.
namespace velmora::testing {

// The symbols the images and the notification draw: glyph slots, dial marks, gauge arrows, ratings, emoji.
inline constexpr const char* kSymbols = "☾ ★ ♥ Z R ⑦ ↗ ↘ ° ⭒ … h 7 🛌 🛏";
// Japanese as a table of it would have it: kana, kanji and the long-vowel mark.
inline constexpr const char* kJapanese = "就寝時刻 起床時刻 今日 睡眠バンク 目標の98% 7時間20分";

}  // namespace velmora::testing
