#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "format/FormatTools.h"
#include "platform/IsoDate.h"
#include "platform/UserDefaults.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::isoDate;
using testing::TestEnvironment;

const std::string kNinePM = "9:05\u202FPM";  // a narrow space between the time and its marker

std::string iso(Date date, const char* zone) { return formatIsoDate(date, zone); }
// The wall clock of a date in a zone, to the minute: "2025-01-08T09:00".
std::string local(Date date, const char* zone = "Europe/London") { return formatIsoDate(date, zone).substr(0, 16); }
std::string local(std::optional<Date> date, const char* zone) { return date ? local(*date, zone) : "none"; }

void setNightHour(const Environment& env, Value value) {
  ASSERT_TRUE(UserDefaults::standard(env)->setObject(std::move(value), "nightHour11"));
}

// --- Clock times of day ---------------------------------------------------------

struct ClockCase {
  const char* locale;
  bool twentyFour;
  std::string hourMin;
  std::string hrMn;
  std::string dayTime;
};

class ClockTimes : public ::testing::TestWithParam<ClockCase> {};

TEST_P(ClockTimes, FollowTheLocaleClockOnlyWhereTheyShould) {
  const ClockCase& c = GetParam();
  TestEnvironment env("2025-01-06T21:05:09+01:00", "Europe/Berlin", c.locale);
  FormatTools tools(env);
  const Date date = env.now;
  EXPECT_EQ(tools.is24hr(), c.twentyFour);
  EXPECT_EQ(tools.hourMin(date), c.hourMin);
  EXPECT_EQ(tools.hrMn(date), c.hrMn);
  EXPECT_EQ(tools.dayTime(date), c.dayTime);
  // Whatever the locale's clock: fixed patterns and the POSIX hour.
  EXPECT_EQ(tools.hrMn24(date), "21:05");
  EXPECT_EQ(tools.timeAs24(date), "21:05");
  EXPECT_EQ(tools.currentHour(date), 21);
  EXPECT_EQ(tools.currentMin(date), 5);
  EXPECT_EQ(tools.currentDay(date), 6);
}

INSTANTIATE_TEST_SUITE_P(Locales, ClockTimes,
                         ::testing::Values(ClockCase{"en_US", false, "9:05PM", kNinePM, kNinePM},
                                           ClockCase{"en_GB", true, "9:05pm", "21:05", "21:05"},
                                           ClockCase{"en_US@hours=h23", true, "9:05PM", "21:05", "21:05"},
                                           ClockCase{"de_DE", true, "9:05PM", "21:05", "21:05"}),
                         [](const auto& param) { return std::to_string(param.index); });

TEST(ClockTimes, MorningHoursAndTheCurrentYear) {
  TestEnvironment env("2025-01-06T09:03:00+01:00", "Europe/Berlin", "en_US");
  FormatTools tools(env);
  EXPECT_EQ(tools.dayTimeNoSuffix(env.now), "09:03");  // the template "H:mm" widens to the locale's "HH:mm"
  EXPECT_EQ(tools.hrMn24(env.now), "9:03");
  EXPECT_EQ(tools.currentYear(), 2025);
}

// --- How long ago -------------------------------------------------------------

struct AgoCase {
  double secondsAgo;
  const char* text;
};

class WhenString : public ::testing::TestWithParam<AgoCase> {};

TEST_P(WhenString, PicksThePhraseByThreshold) {
  TestEnvironment env("2025-03-15T12:00:00+00:00", "Europe/London", "en_US");
  FormatTools tools(env);
  EXPECT_EQ(tools.whenString(env.now.dateByAddingTimeInterval(-GetParam().secondsAgo)), GetParam().text);
}

constexpr double kDay = 86400;

INSTANTIATE_TEST_SUITE_P(Thresholds, WhenString,
                         ::testing::Values(AgoCase{-3600, "just now"},  // a future date
                                           AgoCase{0, "just now"}, AgoCase{59, "just now"}, AgoCase{60, "a minute ago"},
                                           AgoCase{90, "a minute ago"}, AgoCase{120, "2 minutes ago"},
                                           AgoCase{3600, "60 minutes ago"}, AgoCase{3601, "an hour ago"},
                                           AgoCase{7200, "2 hours ago"}, AgoCase{kDay, "24 hours ago"},
                                           AgoCase{90000, "a day ago"}, AgoCase{6 * kDay, "6 days ago"},
                                           AgoCase{7 * kDay, "7 days ago"}, AgoCase{13 * kDay, "13 days ago"},
                                           AgoCase{14 * kDay, "2 weeks ago"}, AgoCase{28 * kDay, "4 weeks ago"},
                                           // Beyond four weeks the date itself, in the locale's order.
                                           AgoCase{29 * kDay, "Fri, Feb 14, 2025, 12:00\u202FPM"}));

TEST(WhenString, ReadsTextsWithAZoneAndTakesUnreadableOnesAsNow) {
  TestEnvironment env("2025-03-15T12:00:00+00:00", "Europe/London", "en_US");
  FormatTools tools(env);
  EXPECT_EQ(tools.whenStringFB("2025-03-15T10:59:00+0000"), "an hour ago");
  EXPECT_EQ(tools.whenStringFB("2025-03-15T14:00:00+0200"), "just now");
  EXPECT_EQ(tools.whenStringFB("2025-03-12T12:00:00+0000"), "3 days ago");
  EXPECT_EQ(tools.whenStringFB("12 March 2025"), "just now");
  EXPECT_EQ(tools.whenStringFB(""), "just now");
}

TEST(SentenceCapitalized, FirstCharacterUpperTheRestLower) {
  TestEnvironment env;
  FormatTools tools(env);
  EXPECT_EQ(tools.sentenceCapitalizedString("hELLO wORLD"), "Hello world");
  EXPECT_EQ(tools.sentenceCapitalizedString("ätna"), "Ätna");
  EXPECT_EQ(tools.sentenceCapitalizedString(""), "");
}

// --- Durations ---------------------------------------------------------------------

using DurationMethod = std::string (FormatTools::*)(double);

struct DurationCase {
  const char* locale;
  DurationMethod method;
  double seconds;
  const char* text;
};

class Durations : public ::testing::TestWithParam<DurationCase> {};

TEST_P(Durations, UseTheirStyleUnitsAndZeroBehaviour) {
  const DurationCase& c = GetParam();
  TestEnvironment env("2025-01-06T15:00:00+01:00", "Europe/Berlin", c.locale);
  FormatTools tools(env);
  EXPECT_EQ((tools.*c.method)(c.seconds), c.text) << c.seconds << " s";
}

constexpr DurationMethod kTime = &FormatTools::formattedTimeInterval;
constexpr DurationMethod kLongTime = &FormatTools::formattedLongTimeInterval;
constexpr DurationMethod kMin = &FormatTools::formattedMinInterval;
constexpr DurationMethod kShortTime = &FormatTools::formattedShortTimeInterval;
constexpr DurationMethod kHMS = &FormatTools::formattedShortHMSInterval;
constexpr DurationMethod kLongMin = &FormatTools::formattedLongMinInterval;

INSTANTIATE_TEST_SUITE_P(
    English, Durations,
    ::testing::Values(DurationCase{"en_US", kTime, 27000, "7h 30m"}, DurationCase{"en_US", kTime, 1800, "0h 30m"},
                      DurationCase{"en_US", kTime, 7259.9, "2h 0m"},   // leftover seconds are dropped
                      DurationCase{"en_US", kTime, -5400, "-1h 30m"},  // one sign, on the first unit
                      DurationCase{"en_US", kTime, -30, "0h 0m"}, DurationCase{"en_US", kTime, -1800, "-0h 30m"},
                      DurationCase{"en_US", kLongTime, 27000, "7 hours, 30 minutes"},
                      DurationCase{"en_US", kLongTime, 3660, "1 hour, 1 minute"},
                      DurationCase{"en_US", kMin, 27000, "450m"}, DurationCase{"en_US", kMin, 59, "0m"},
                      DurationCase{"en_US", kShortTime, 27000, "7:30"}, DurationCase{"en_US", kShortTime, 3600, "1:00"},
                      DurationCase{"en_US", kShortTime, 300, "5"},  // the leading zero hour goes
                      DurationCase{"en_US", kShortTime, -300, "-5"}, DurationCase{"en_US", kHMS, 7, "0:00:07"},
                      DurationCase{"en_US", kHMS, -7, "-0:00:07"}, DurationCase{"en_US", kLongMin, 27000, "450 min"},
                      DurationCase{"en_GB", kTime, 27000, "7h 30m"}));

INSTANTIATE_TEST_SUITE_P(German, Durations,
                         ::testing::Values(DurationCase{"de_DE", kTime, 27000, "7 Std., 30 Min."},
                                           DurationCase{"de_DE", kTime, 1800, "0 Std., 30 Min."},
                                           DurationCase{"de_DE", kLongTime, 3660, "1 Stunde, 1 Minute"},
                                           DurationCase{"de_DE", kShortTime, 300, "5"},
                                           DurationCase{"de_DE", kHMS, 27005, "7:30:05"},
                                           DurationCase{"de_DE", kLongMin, 90000, "1.500 Min."}));

TEST(Durations, DaysIntervalKeepsTheZeroBehaviourOfThePreviousCall) {
  TestEnvironment env("2025-01-06T15:00:00+01:00", "Europe/Berlin", "en_US");
  FormatTools tools(env);
  EXPECT_EQ(tools.formattedDaysInterval(3 * kDay), "3d");  // a new formatter drops zero units
  tools.formattedShortTimeInterval(60);
  EXPECT_EQ(tools.formattedDaysInterval(3 * kDay), "3d");
  EXPECT_EQ(tools.formattedDaysInterval(10 * kDay + 7200), "1w 3d");
  EXPECT_EQ(tools.formattedDaysInterval(14 * kDay), "2w");
  tools.formattedTimeInterval(60);
  EXPECT_EQ(tools.formattedDaysInterval(3 * kDay), "0w 3d");
  EXPECT_EQ(tools.formattedDaysInterval(14 * kDay), "2w 0d");
}

struct UnitWordCase {
  const char* locale;
  const char* min;
  const char* hrs;
  const char* days;
};

class UnitWords : public ::testing::TestWithParam<UnitWordCase> {};

TEST_P(UnitWords, AreTheShortWordsWithoutCountOrSpaces) {
  TestEnvironment env("2025-01-06T15:00:00+01:00", "Europe/Berlin", GetParam().locale);
  FormatTools tools(env);
  EXPECT_EQ(tools.shortTermForMIN(), GetParam().min);
  EXPECT_EQ(tools.shortTermForHRS(), GetParam().hrs);
  EXPECT_EQ(tools.shortTermForDAYS(), GetParam().days);
}

INSTANTIATE_TEST_SUITE_P(Locales, UnitWords,
                         ::testing::Values(UnitWordCase{"en_US", "min", "hr", "days"},
                                           UnitWordCase{"de_DE", "Min.", "Std.", "Tg."}));

// --- Date patterns ----------------------------------------------------------------

TEST(DatePatterns, FixedPatternsInEnglish) {
  TestEnvironment env("2025-01-06T21:30:00+01:00", "Europe/Berlin", "en_US");
  FormatTools tools(env);
  const Date monday = env.now;
  EXPECT_EQ(tools.YYMMDD(monday), "20250106");
  EXPECT_EQ(tools.YYMMDD(isoDate("2025-01-06T23:59:59+01:00")), "20250106");
  EXPECT_EQ(tools.YYMMDD(isoDate("2025-01-06T23:30:00+00:00")), "20250107");  // read in the run's zone
  EXPECT_EQ(tools.monthDateYear(monday), "January 6, 2025");
  EXPECT_EQ(tools.shortDayMonthYear(monday), "Mon Jan 6, 2025");
  EXPECT_EQ(tools.shortDayC(monday), "Mon6");
  EXPECT_EQ(tools.veryShortDayOnly(isoDate("2025-01-09T12:00:00+01:00")), "T");
  EXPECT_EQ(tools.dayMonthDateTime(monday), "9:30PM Monday, January 6");
  EXPECT_EQ(tools.dayDateTime(monday), "9:30PM Monday");
}

TEST(DatePatterns, WeekBasedYearAtTheTurnOfTheYear) {
  TestEnvironment env("2024-12-30T12:00:00+01:00", "Europe/Berlin", "en_US");
  FormatTools tools(env);
  const Date monday = env.now;
  EXPECT_EQ(tools.yearOfDate(monday), "2025");
  EXPECT_EQ(tools.shortDayMonthYear(monday), "Mon Dec 30, 2025");
  EXPECT_EQ(tools.yearOfDate(isoDate("2024-12-27T12:00:00+01:00")), "2024");
}

TEST(DatePatterns, DayKeysReadBackAsLocalMidnight) {
  TestEnvironment env("2025-01-06T21:30:00+01:00", "Europe/Berlin", "en_US");
  FormatTools tools(env);
  const auto day = tools.NSDateFromYYMMDD("20250106");
  ASSERT_TRUE(day.has_value());
  EXPECT_EQ(iso(*day, "Europe/Berlin"), "2025-01-06T00:00:00+01:00");
  EXPECT_EQ(tools.YYMMDD(*day), "20250106");
  for (const char* bad : {"2025-01-06", "20251306", "20250132", "2025010", "202501061", "abcdefgh", ""}) {
    EXPECT_FALSE(tools.NSDateFromYYMMDD(bad).has_value()) << bad;
  }
}

TEST(DatePatterns, KoreanReadersGetTheKoreanOrder) {
  TestEnvironment env("2025-01-06T21:30:00+09:00", "Asia/Seoul", "ko_KR");
  env.languages = {"ko-KR", "en"};
  FormatTools korean(env);
  EXPECT_EQ(korean.shortDayMonthYear(env.now), "2025년 1월 6일 월요일");

  TestEnvironment english("2025-01-06T21:30:00+00:00", "Europe/London", "en_GB");
  english.languages = {"en-GB", "ko"};
  FormatTools british(english);
  EXPECT_EQ(british.shortDayMonthYear(english.now), "Mon Jan 6, 2025");

  english.languages.clear();  // no preferred language at all
  FormatTools none(english);
  EXPECT_EQ(none.shortDayMonthYear(english.now), "Mon Jan 6, 2025");
}

struct TemplateCase {
  const char* locale;
  const char* dayDate;
  const char* dayMonthDate;
  const char* ddmmyy;
  const char* ddmmm;
  const char* shorthhmmDDMMYY;
};

class LocaleTemplates : public ::testing::TestWithParam<TemplateCase> {};

TEST_P(LocaleTemplates, OrderFieldsAsTheRegionDoes) {
  const TemplateCase& c = GetParam();
  TestEnvironment env("2025-01-06T21:30:00+01:00", "Europe/Berlin", c.locale);
  FormatTools tools(env);
  EXPECT_EQ(tools.dayDate(env.now), c.dayDate);
  EXPECT_EQ(tools.dayMonthDate(env.now), c.dayMonthDate);
  EXPECT_EQ(tools.ddmmyy(env.now), c.ddmmyy);
  EXPECT_EQ(tools.ddmmm(env.now), c.ddmmm);
  EXPECT_EQ(tools.shorthhmmDDMMYY(env.now), c.shorthhmmDDMMYY);
}

INSTANTIATE_TEST_SUITE_P(Locales, LocaleTemplates,
                         ::testing::Values(TemplateCase{"en_US", "6 Monday", "Monday, January 6", "1/6/25", "Jan 6",
                                                        "Mon, 1/6/25, 9:30\u202FPM"},
                                           TemplateCase{"en_GB", "Monday 6", "Monday, 6 January", "06/01/25", "6 Jan",
                                                        "Mon, 06/01/25, 9:30\u202Fpm"},
                                           TemplateCase{"de_DE", "Montag, 6.", "Montag, 6. Januar", "6.1.25", "6. Jan.",
                                                        "Mo., 6.1.25, 9:30\u202FPM"}),
                         [](const auto& param) { return std::string(param.param.locale); });

TEST(IsoDates, InternetFormInTheRunsZone) {
  TestEnvironment berlin("2025-01-06T21:30:00.75+01:00", "Europe/Berlin", "en_US");
  EXPECT_EQ(FormatTools(berlin).isoDateFromDate(berlin.now), "2025-01-06T21:30:00+01:00");
  TestEnvironment london("2025-07-06T21:30:00+01:00", "Europe/London", "de_DE");
  EXPECT_EQ(FormatTools(london).isoDateFromDate(london.now), "2025-07-06T21:30:00+01:00");
  EXPECT_EQ(FormatTools(london).isoDateFromDate(isoDate("2025-01-06T21:30:00Z")), "2025-01-06T21:30:00Z");
  TestEnvironment newYork("2025-01-06T21:30:00-05:00", "America/New_York", "ar_EG");
  EXPECT_EQ(FormatTools(newYork).isoDateFromDate(newYork.now), "2025-01-06T21:30:00-05:00");
}

// --- The night and day seeds ------------------------------------------------------

struct NightCase {
  const char* now;
  const char* zone;
  int nightHour;  // kUnset: nothing stored
  const char* nowDate;
  const char* fromSeed0;
  const char* fromSeedMinus1;
};

constexpr int kUnset = -100;

class Nights : public ::testing::TestWithParam<NightCase> {};

TEST_P(Nights, BeginAtTheNightHour) {
  const NightCase& c = GetParam();
  TestEnvironment env(c.now, c.zone, "en_GB");
  if (c.nightHour != kUnset) setNightHour(env, Value::integer(c.nightHour));
  FormatTools tools(env);
  EXPECT_EQ(local(tools.nowDate(), c.zone), c.nowDate);
  EXPECT_EQ(local(tools.fromDateForSeed(0), c.zone), c.fromSeed0);
  EXPECT_EQ(local(tools.fromDateForSeed(-1), c.zone), c.fromSeedMinus1);
}

constexpr const char* kLondon = "Europe/London";

INSTANTIATE_TEST_SUITE_P(
    Boundaries, Nights,
    ::testing::Values(
        // Default night hour 21: before it the night began yesterday.
        NightCase{"2025-01-08T10:00:00Z", kLondon, kUnset, "2025-01-08T09:00", "2025-01-07T21:00", "2025-01-06T21:00"},
        NightCase{"2025-01-08T20:59:59Z", kLondon, kUnset, "2025-01-08T09:00", "2025-01-07T21:00", "2025-01-06T21:00"},
        NightCase{"2025-01-08T21:00:00Z", kLondon, 21, "2025-01-09T09:00", "2025-01-08T21:00", "2025-01-07T21:00"},
        // Night hour 0: the night is the calendar day.
        NightCase{"2025-01-08T00:30:00Z", kLondon, 0, "2025-01-08T12:00", "2025-01-08T00:00", "2025-01-07T00:00"},
        NightCase{"2025-01-08T23:30:00Z", kLondon, 0, "2025-01-08T12:00", "2025-01-08T00:00", "2025-01-07T00:00"},
        // A negative hour gives no night; other seeds still carry the hour back a day.
        NightCase{"2025-01-08T10:00:00Z", kLondon, -1, "none", "none", "2025-01-05T23:00"},
        // Twelve hours after a night start in winter time is 10:00 summer time, and the reverse.
        NightCase{"2025-03-30T00:30:00Z", kLondon, kUnset, "2025-03-30T10:00", "2025-03-29T21:00", "2025-03-28T21:00"},
        NightCase{"2025-11-02T08:00:00-05:00", "America/New_York", kUnset, "2025-11-02T08:00", "2025-11-01T21:00",
                  "2025-10-31T21:00"}));

TEST(Nights, NightHourIsReadAfreshAndLeniently) {
  TestEnvironment env("2025-01-08T10:00:00+00:00", "Europe/London", "en_GB");
  FormatTools tools(env);
  EXPECT_EQ(local(tools.nowDate(), kLondon), "2025-01-08T09:00");
  setNightHour(env, Value("8 o'clock"));  // a text reads its leading number
  EXPECT_EQ(local(tools.nowDate(), kLondon), "2025-01-08T20:00");
  setNightHour(env, Value::real(22.7));
  EXPECT_EQ(local(tools.nowDate(), kLondon), "2025-01-08T10:00");
}

// Seeds count calendar days, whatever the length of the days in between.
struct SeedCase {
  const char* zone;
  const char* now;
  const char* date;
  int seed;
};

class Seeds : public ::testing::TestWithParam<SeedCase> {};

TEST_P(Seeds, CountCalendarDaysAcrossClockChanges) {
  const SeedCase& c = GetParam();
  TestEnvironment env(c.now, c.zone, "en_GB");
  FormatTools tools(env);
  EXPECT_EQ(tools.seedForDate(isoDate(c.date)), c.seed) << c.date;
}

// London 00:30 on the spring-forward morning: nowDate is 10:00 summer time that day.
constexpr const char* kLondonSpring = "2025-03-30T00:30:00+00:00";
// New York the morning after falling back, and the morning after springing forward.
constexpr const char* kNewYorkFall = "2025-11-03T10:00:00-05:00";
constexpr const char* kNewYorkSpring = "2025-03-10T10:00:00-04:00";

INSTANTIATE_TEST_SUITE_P(
    Zones, Seeds,
    ::testing::Values(SeedCase{"Europe/London", kLondonSpring, "2025-03-30T00:10:00+00:00", 0},  // before 04:00
                      SeedCase{"Europe/London", kLondonSpring, "2025-03-30T23:59:00+01:00", 0},
                      SeedCase{"Europe/London", kLondonSpring, "2025-03-29T23:59:00+00:00", -1},
                      SeedCase{"Europe/London", kLondonSpring, "2025-03-28T12:00:00+00:00", -2},
                      SeedCase{"Europe/London", kLondonSpring, "2025-03-31T12:00:00+01:00", 1},
                      SeedCase{"Europe/London", "2025-10-27T10:00:00+00:00", "2025-10-26T12:00:00+00:00", -1},
                      SeedCase{"Europe/London", "2025-10-27T10:00:00+00:00", "2025-10-25T12:00:00+01:00", -2},
                      SeedCase{"America/New_York", kNewYorkFall, "2025-11-03T01:00:00-05:00", 0},
                      SeedCase{"America/New_York", kNewYorkFall, "2025-11-02T00:30:00-04:00", -1},
                      SeedCase{"America/New_York", kNewYorkFall, "2025-11-01T12:00:00-04:00", -2},
                      SeedCase{"America/New_York", kNewYorkSpring, "2025-03-09T12:00:00-04:00", -1},
                      SeedCase{"America/New_York", kNewYorkSpring, "2025-02-08T12:00:00-05:00", -30}));

// --- Calendar dates -------------------------------------------------------------------

TEST(CalendarDates, OutOfRangeComponentsCarry) {
  TestEnvironment env("2025-01-15T10:00:00+00:00", "Europe/London", "en_GB");
  FormatTools tools(env);
  const Date d = env.now;
  auto at = [&](int y, int mo, int day, int h, int mi) { return local(tools.dateForDate(d, y, mo, day, h, mi)); };
  EXPECT_EQ(at(2025, 13, 1, 3, 0), "2026-01-01T03:00");
  EXPECT_EQ(at(2025, 3, 0, 3, 0), "2025-02-28T03:00");
  EXPECT_EQ(at(2024, 3, 0, 3, 0), "2024-02-29T03:00");
  EXPECT_EQ(at(2025, 1, 35, 25, 61), "2025-02-05T02:01");
  EXPECT_EQ(at(2025, 0, 1, 0, 0), "2024-12-01T00:00");
  EXPECT_EQ(local(tools.dateForDate(d, -1, 0)), "2025-01-14T23:00");
  EXPECT_EQ(tools.epochIntervalForDate(d, 21, 30), 1736976600.0);

  EXPECT_EQ(local(tools.startDateForDaysAgo(3, isoDate("2025-03-02T18:00:00Z"))), "2025-02-27T03:00");
  EXPECT_EQ(local(tools.startDateForDaysAgo(3, isoDate("2024-03-02T18:00:00Z"))), "2024-02-28T03:00");
}

TEST(CalendarDates, MonthsAgoCarryIntoEarlierYears) {
  TestEnvironment env("2025-01-20T10:00:00+00:00", "Europe/London", "en_US");
  FormatTools tools(env);
  EXPECT_EQ(local(tools.startOfMonthMonthsAgo(0)), "2025-01-01T03:00");
  EXPECT_EQ(local(tools.startOfMonthMonthsAgo(1)), "2024-12-01T03:00");
  EXPECT_EQ(local(tools.startOfMonthMonthsAgo(13)), "2023-12-01T03:00");
  EXPECT_EQ(tools.nameOfMonthMonthsAgo(1), "Dec");
}

TEST(CalendarDates, SkippedWallTimesMoveForward) {
  TestEnvironment env("2025-03-30T00:30:00+00:00", "Europe/London", "en_GB");
  FormatTools tools(env);
  EXPECT_EQ(iso(tools.dateForDate(env.now, 1, 30), "Europe/London"), "2025-03-30T02:30:00+01:00");
  EXPECT_EQ(tools.intervalSinceMidnight(isoDate("2025-03-30T03:00:00+01:00")), 7200.0);
  EXPECT_EQ(tools.intervalSinceMidnight(isoDate("2025-03-30T00:20:00.5+00:00")), 1200.5);
  EXPECT_EQ(local(tools.getMidnight()), "2025-03-30T00:00");
}

TEST(CalendarDates, WeekdaysCountFromSunday) {
  TestEnvironment env("2025-01-06T10:00:00+00:00", "Europe/London", "en_GB");  // a locale whose week starts Monday
  FormatTools tools(env);
  EXPECT_EQ(tools.getWeekdayNoForDate(isoDate("2025-01-05T12:00:00+00:00")), 1);
  EXPECT_EQ(tools.getWeekdayNoForDate(isoDate("2025-01-06T12:00:00+00:00")), 2);
  EXPECT_EQ(tools.dayNoOfDate(isoDate("2025-01-11T23:59:00+00:00")), 7);
  EXPECT_EQ(tools.getWeekdayNoForDate(isoDate("2025-01-11T23:59:00-01:00")), 1);  // already Sunday in London
}

TEST(CalendarDates, ADateThatIsNoDateGivesNoTextAndZero) {
  TestEnvironment env;
  FormatTools tools(env);
  const Date none{std::nan("")};
  EXPECT_EQ(tools.YYMMDD(none), "");
  EXPECT_EQ(tools.dayTime(none), "");
  EXPECT_EQ(tools.currentHour(none), 0);
  EXPECT_EQ(tools.whenString(none), "just now");
  EXPECT_EQ(tools.seedForDate(none), 0);
  EXPECT_EQ(tools.intervalSinceMidnight(none), 0.0);
  EXPECT_TRUE(std::isnan(tools.dateForDate(none, 21, 0).seconds));
}

struct DaylightCase {
  const char* zone;
  const char* date;
  int isDaylightSavings;
  int hourMode0;
  int hourMode1;
};

class DaylightSaving : public ::testing::TestWithParam<DaylightCase> {};

TEST_P(DaylightSaving, FindsTheNightsChangeAndItsHour) {
  const DaylightCase& c = GetParam();
  TestEnvironment env("2025-06-01T12:00:00+00:00", c.zone, "en_US");
  FormatTools tools(env);
  const Date date = isoDate(c.date);
  EXPECT_EQ(tools.isDaylightSavings(date), c.isDaylightSavings);
  EXPECT_EQ(tools.getDaylightSavingsHourForDate(date, 0), c.hourMode0);
  EXPECT_EQ(tools.getDaylightSavingsHourForDate(date, 1), c.hourMode1);
  EXPECT_EQ(tools.getDaylightSavingsHourForDate(date, 7), c.hourMode0);  // any mode but 1 asks for the hour after
}

INSTANTIATE_TEST_SUITE_P(Zones, DaylightSaving,
                         ::testing::Values(DaylightCase{"Europe/London", "2025-03-30T12:00:00+01:00", -1, 1, 0},
                                           DaylightCase{"Europe/London", "2025-10-26T12:00:00+00:00", 1, 2, 1},
                                           DaylightCase{"Europe/London", "2025-01-06T12:00:00+00:00", 0, 0, 0},
                                           DaylightCase{"America/New_York", "2025-03-09T23:00:00-04:00", -1, 2, 1},
                                           DaylightCase{"America/New_York", "2025-11-02T01:30:00-05:00", 1, 2, 1},
                                           DaylightCase{"Asia/Tokyo", "2025-03-30T12:00:00+09:00", 0, 0, 0}));

}  // namespace
}  // namespace velmora
