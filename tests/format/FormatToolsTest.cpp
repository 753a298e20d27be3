#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "format/FormatTools.h"
#include "store/UserDefaults.h"
#include "support/TestEnvironment.h"
#include "text/IsoDate.h"

namespace velmora {
namespace {

using testing::isoDate;
using testing::TestEnvironment;

constexpr double kDay = 86400;
constexpr const char* kLondon = "Europe/London";
const std::string kNinePM = "9:05\u202FPM";  // a narrow space between the time and its marker

std::string iso(Date date, const char* zone) { return formatIsoDate(date, zone); }
// The wall clock of a date in a zone, to the minute: "2025-01-08T09:00".
std::string local(Date date, const char* zone = kLondon) { return formatIsoDate(date, zone).substr(0, 16); }
std::string local(std::optional<Date> date, const char* zone) { return date ? local(*date, zone) : "none"; }

void setNightHour(const Environment& env, Value value) {
  ASSERT_TRUE(UserDefaults::standard(env)->setObject(std::move(value), "nightHour11"));
}

// --- Clock times of day ---------------------------------------------------------

TEST(ClockTimes, FollowTheLocaleClockOnlyWhereTheyShould) {
  const struct {
    const char* locale;
    bool twentyFour;
    std::string hourMin, hrMn, dayTime;
  } cases[] = {{"en_US", false, "9:05PM", kNinePM, kNinePM},
               {"en_GB", true, "9:05pm", "21:05", "21:05"},
               {"en_US@hours=h23", true, "9:05PM", "21:05", "21:05"},
               {"de_DE", true, "9:05PM", "21:05", "21:05"}};
  for (const auto& c : cases) {
    TestEnvironment env("2025-01-06T21:05:09+01:00", "Europe/Berlin", c.locale);
    FormatTools tools(env);
    const Date date = env.now;
    EXPECT_EQ(tools.is24hr(), c.twentyFour) << c.locale;
    EXPECT_EQ(tools.hourMin(date), c.hourMin) << c.locale;
    EXPECT_EQ(tools.hrMn(date), c.hrMn) << c.locale;
    EXPECT_EQ(tools.dayTime(date), c.dayTime) << c.locale;
    // Whatever the locale's clock: fixed patterns and the POSIX hour.
    EXPECT_EQ(tools.hrMn24(date), "21:05") << c.locale;
    EXPECT_EQ(tools.timeAs24(date), "21:05") << c.locale;
    EXPECT_EQ(tools.currentHour(date), 21) << c.locale;
    EXPECT_EQ(tools.currentMin(date), 5) << c.locale;
    EXPECT_EQ(tools.currentDay(date), 6) << c.locale;
  }
  TestEnvironment env("2025-01-06T09:03:00+01:00", "Europe/Berlin", "en_US");
  FormatTools tools(env);
  EXPECT_EQ(tools.dayTimeNoSuffix(env.now), "09:03");  // the template "H:mm" widens to the locale's "HH:mm"
  EXPECT_EQ(tools.hrMn24(env.now), "9:03");
  EXPECT_EQ(tools.currentYear(), 2025);
}

// --- How long ago -------------------------------------------------------------

TEST(WhenString, PicksThePhraseByThresholdAndReadsTexts) {
  TestEnvironment env("2025-03-15T12:00:00+00:00", kLondon, "en_US");
  FormatTools tools(env);
  const struct {
    double secondsAgo;  // negative: a future date
    const char* text;
  } cases[] = {{-3600, "just now"},        {59, "just now"},          {60, "a minute ago"},
               {90, "a minute ago"},       {120, "2 minutes ago"},    {3600, "60 minutes ago"},
               {3601, "an hour ago"},      {7200, "2 hours ago"},     {kDay, "24 hours ago"},
               {90000, "a day ago"},       {7 * kDay, "7 days ago"},  {13 * kDay, "13 days ago"},
               {14 * kDay, "2 weeks ago"}, {28 * kDay, "4 weeks ago"}};
  for (const auto& c : cases)
    EXPECT_EQ(tools.whenString(env.now.dateByAddingTimeInterval(-c.secondsAgo)), c.text) << c.secondsAgo << " s";
  // Beyond four weeks the date itself, in the locale's order.
  EXPECT_EQ(tools.whenString(env.now.dateByAddingTimeInterval(-29 * kDay)), "Fri, Feb 14, 2025, 12:00\u202FPM");

  // Texts carry their zone; an unreadable or empty one reads as now.
  EXPECT_EQ(tools.whenStringFB("2025-03-15T10:59:00+0000"), "an hour ago");
  EXPECT_EQ(tools.whenStringFB("2025-03-15T14:00:00+0200"), "just now");
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

TEST(Durations, UseTheirStyleUnitsAndZeroBehaviour) {
  using Method = std::string (FormatTools::*)(double);
  constexpr Method kTime = &FormatTools::formattedTimeInterval, kLongTime = &FormatTools::formattedLongTimeInterval,
                   kShortTime = &FormatTools::formattedShortTimeInterval,
                   kHMS = &FormatTools::formattedShortHMSInterval, kLongMin = &FormatTools::formattedLongMinInterval;
  const struct {
    const char *name, *locale;
    Method method;
    double seconds;
    const char* text;
  } cases[] = {
      {"timeLeftoverSecondsDropped", "en_US", kTime, 7259.9, "2h 0m"},
      {"timeNoSignOnZero", "en_US", kTime, -30, "0h 0m"},
      {"timeOneSignOnAZeroFirstUnit", "en_US", kTime, -1800, "-0h 30m"},
      {"longTime", "en_US", kLongTime, 3660, "1 hour, 1 minute"},
      {"shortTimeTrailingZeroStays", "en_US", kShortTime, 3600, "1:00"},
      {"shortTimeLeadingZeroHourGoes", "en_US", kShortTime, 300, "5"},
      {"shortTimeNegative", "en_US", kShortTime, -300, "-5"},
      {"hms", "en_US", kHMS, 7, "0:00:07"},
      {"hmsNegative", "en_US", kHMS, -7, "-0:00:07"},
      {"longMinutes", "en_US", kLongMin, 90000, "1,500 min"},
      {"germanTime", "de_DE", kTime, 27000, "7 Std., 30 Min."},
      {"germanLongTime", "de_DE", kLongTime, 3660, "1 Stunde, 1 Minute"},
      {"germanHms", "de_DE", kHMS, 27005, "7:30:05"},
      {"germanLongMinutes", "de_DE", kLongMin, 90000, "1.500 Min."},
  };
  for (const auto& c : cases) {
    TestEnvironment env("2025-01-06T15:00:00+01:00", "Europe/Berlin", c.locale);
    EXPECT_EQ((FormatTools(env).*c.method)(c.seconds), c.text) << c.name;
  }
}

TEST(Durations, DaysIntervalKeepsTheZeroBehaviourOfThePreviousCall) {
  TestEnvironment env("2025-01-06T15:00:00+01:00", "Europe/Berlin", "en_US");
  FormatTools tools(env);
  EXPECT_EQ(tools.formattedDaysInterval(3 * kDay), "3d");  // a new formatter drops zero units
  EXPECT_EQ(tools.formattedDaysInterval(10 * kDay + 7200), "1w 3d");
  EXPECT_EQ(tools.formattedDaysInterval(14 * kDay), "2w");
  tools.formattedTimeInterval(60);
  EXPECT_EQ(tools.formattedDaysInterval(3 * kDay), "0w 3d");
  EXPECT_EQ(tools.formattedDaysInterval(14 * kDay), "2w 0d");
  tools.formattedShortTimeInterval(60);
  EXPECT_EQ(tools.formattedDaysInterval(14 * kDay), "2w");
}

TEST(Durations, UnitWordsAreTheShortWordsWithoutCountOrSpaces) {
  const struct {
    const char *locale, *min, *hrs, *days;
  } cases[] = {{"en_US", "min", "hr", "days"}, {"de_DE", "Min.", "Std.", "Tg."}};
  for (const auto& c : cases) {
    TestEnvironment env("2025-01-06T15:00:00+01:00", "Europe/Berlin", c.locale);
    FormatTools tools(env);
    EXPECT_EQ(tools.shortTermForMIN(), c.min) << c.locale;
    EXPECT_EQ(tools.shortTermForHRS(), c.hrs) << c.locale;
    EXPECT_EQ(tools.shortTermForDAYS(), c.days) << c.locale;
  }
}

// --- Date patterns ----------------------------------------------------------------

TEST(DatePatterns, FixedPatternsInEnglish) {
  TestEnvironment env("2025-01-06T21:30:00+01:00", "Europe/Berlin", "en_US");
  FormatTools tools(env);
  const Date monday = env.now;
  EXPECT_EQ(tools.monthDateYear(monday), "January 6, 2025");
  EXPECT_EQ(tools.shortDayC(monday), "Mon6");
  EXPECT_EQ(tools.veryShortDayOnly(isoDate("2025-01-09T12:00:00+01:00")), "T");
  EXPECT_EQ(tools.dayMonthDateTime(monday), "9:30PM Monday, January 6");
  EXPECT_EQ(tools.dayDateTime(monday), "9:30PM Monday");
  // "YYYY" is the week-based year: the Monday of the turn of the year is in the new one.
  const Date turn = isoDate("2024-12-30T12:00:00+01:00");
  EXPECT_EQ(tools.yearOfDate(turn), "2025");
  EXPECT_EQ(tools.shortDayMonthYear(turn), "Mon Dec 30, 2025");
  EXPECT_EQ(tools.yearOfDate(isoDate("2024-12-27T12:00:00+01:00")), "2024");
}

TEST(DatePatterns, DayKeysAreLocalDaysBothWays) {
  TestEnvironment env("2025-01-06T21:30:00+01:00", "Europe/Berlin", "en_US");
  FormatTools tools(env);
  EXPECT_EQ(tools.YYMMDD(env.now), "20250106");
  EXPECT_EQ(tools.YYMMDD(isoDate("2025-01-06T23:30:00+00:00")), "20250107");  // read in the run's zone
  const auto day = tools.NSDateFromYYMMDD("20250106");
  ASSERT_TRUE(day.has_value());
  EXPECT_EQ(iso(*day, "Europe/Berlin"), "2025-01-06T00:00:00+01:00");
  for (const char* bad : {"2025-01-06", "20251306", "20250132", "2025010", "202501061", "abcdefgh", ""})
    EXPECT_FALSE(tools.NSDateFromYYMMDD(bad).has_value()) << bad;
}

TEST(DatePatterns, KoreanReadersGetTheKoreanOrder) {
  const struct {
    const char *now, *zone, *locale;
    std::vector<std::string> languages;
    const char* text;
  } cases[] = {{"2025-01-06T21:30:00+09:00", "Asia/Seoul", "ko_KR", {"ko-KR", "en"}, "2025년 1월 6일 월요일"},
               {"2025-01-06T21:30:00+00:00", kLondon, "en_GB", {"en-GB", "ko"}, "Mon Jan 6, 2025"},
               {"2025-01-06T21:30:00+00:00", kLondon, "en_GB", {}, "Mon Jan 6, 2025"}};  // no preferred language
  for (const auto& c : cases) {
    TestEnvironment env(c.now, c.zone, c.locale);
    env.languages = c.languages;
    EXPECT_EQ(FormatTools(env).shortDayMonthYear(env.now), c.text) << c.locale << " first";
  }
}

TEST(DatePatterns, LocaleTemplatesOrderFieldsAsTheRegionDoes) {
  const struct {
    const char *locale, *dayDate, *dayMonthDate, *ddmmyy, *ddmmm, *shorthhmmDDMMYY;
  } cases[] = {{"en_US", "6 Monday", "Monday, January 6", "1/6/25", "Jan 6", "Mon, 1/6/25, 9:30\u202FPM"},
               {"en_GB", "Monday 6", "Monday, 6 January", "06/01/25", "6 Jan", "Mon, 06/01/25, 9:30\u202Fpm"},
               {"de_DE", "Montag, 6.", "Montag, 6. Januar", "6.1.25", "6. Jan.", "Mo., 6.1.25, 9:30\u202FPM"}};
  for (const auto& c : cases) {
    TestEnvironment env("2025-01-06T21:30:00+01:00", "Europe/Berlin", c.locale);
    FormatTools tools(env);
    EXPECT_EQ(tools.dayDate(env.now), c.dayDate) << c.locale;
    EXPECT_EQ(tools.dayMonthDate(env.now), c.dayMonthDate) << c.locale;
    EXPECT_EQ(tools.ddmmyy(env.now), c.ddmmyy) << c.locale;
    EXPECT_EQ(tools.ddmmm(env.now), c.ddmmm) << c.locale;
    EXPECT_EQ(tools.shorthhmmDDMMYY(env.now), c.shorthhmmDDMMYY) << c.locale;
  }
}

TEST(IsoDates, InternetFormInTheRunsZone) {
  TestEnvironment berlin("2025-01-06T21:30:00.75+01:00", "Europe/Berlin", "en_US");
  EXPECT_EQ(FormatTools(berlin).isoDateFromDate(berlin.now), "2025-01-06T21:30:00+01:00");
  TestEnvironment london("2025-07-06T21:30:00+01:00", kLondon, "de_DE");
  EXPECT_EQ(FormatTools(london).isoDateFromDate(london.now), "2025-07-06T21:30:00+01:00");
  EXPECT_EQ(FormatTools(london).isoDateFromDate(isoDate("2025-01-06T21:30:00Z")), "2025-01-06T21:30:00Z");
  TestEnvironment newYork("2025-01-06T21:30:00-05:00", "America/New_York", "ar_EG");
  EXPECT_EQ(FormatTools(newYork).isoDateFromDate(newYork.now), "2025-01-06T21:30:00-05:00");
}

// --- The night and day seeds ------------------------------------------------------

TEST(Nights, BeginAtTheNightHour) {
  constexpr int kUnset = -100;  // nothing stored: the default 21
  const struct {
    const char *now, *zone;
    int nightHour;
    const char *nowDate, *fromSeed0, *fromSeedMinus1;
  } cases[] = {
      // Before the night hour the night began yesterday.
      {"2025-01-08T20:59:59Z", kLondon, kUnset, "2025-01-08T09:00", "2025-01-07T21:00", "2025-01-06T21:00"},
      {"2025-01-08T21:00:00Z", kLondon, 21, "2025-01-09T09:00", "2025-01-08T21:00", "2025-01-07T21:00"},
      // Night hour 0: the night is the calendar day.
      {"2025-01-08T00:30:00Z", kLondon, 0, "2025-01-08T12:00", "2025-01-08T00:00", "2025-01-07T00:00"},
      // A negative hour gives no night; other seeds still carry the hour back a day.
      {"2025-01-08T10:00:00Z", kLondon, -1, "none", "none", "2025-01-05T23:00"},
      // Twelve hours after a night start in winter time is 10:00 summer time, and the reverse.
      {"2025-03-30T00:30:00Z", kLondon, kUnset, "2025-03-30T10:00", "2025-03-29T21:00", "2025-03-28T21:00"},
      {"2025-11-02T08:00:00-05:00", "America/New_York", kUnset, "2025-11-02T08:00", "2025-11-01T21:00",
       "2025-10-31T21:00"},
  };
  for (const auto& c : cases) {
    TestEnvironment env(c.now, c.zone, "en_GB");
    if (c.nightHour != kUnset) setNightHour(env, Value::integer(c.nightHour));
    FormatTools tools(env);
    EXPECT_EQ(local(tools.nowDate(), c.zone), c.nowDate) << c.now;
    EXPECT_EQ(local(tools.fromDateForSeed(0), c.zone), c.fromSeed0) << c.now;
    EXPECT_EQ(local(tools.fromDateForSeed(-1), c.zone), c.fromSeedMinus1) << c.now;
  }
}

TEST(Nights, NightHourIsReadAfreshAndLeniently) {
  TestEnvironment env("2025-01-08T10:00:00+00:00", kLondon, "en_GB");
  FormatTools tools(env);
  EXPECT_EQ(local(tools.nowDate(), kLondon), "2025-01-08T09:00");
  setNightHour(env, Value("8 o'clock"));  // a text reads its leading number
  EXPECT_EQ(local(tools.nowDate(), kLondon), "2025-01-08T20:00");
  setNightHour(env, Value::real(22.7));
  EXPECT_EQ(local(tools.nowDate(), kLondon), "2025-01-08T10:00");
}

// Seeds count calendar days, whatever the length of the days in between.
TEST(Nights, SeedsCountCalendarDaysAcrossClockChanges) {
  // London 00:30 on the spring-forward morning: nowDate is 10:00 summer time that day.
  constexpr const char* kLondonSpring = "2025-03-30T00:30:00+00:00";
  const struct {
    const char *zone, *now, *date;
    int seed;
  } cases[] = {
      {kLondon, kLondonSpring, "2025-03-30T00:10:00+00:00", 0},  // before 04:00
      {kLondon, kLondonSpring, "2025-03-30T23:59:00+01:00", 0},
      {kLondon, kLondonSpring, "2025-03-29T23:59:00+00:00", -1},  // across a 23-hour day
      {kLondon, kLondonSpring, "2025-03-31T12:00:00+01:00", 1},
      {kLondon, "2025-10-27T10:00:00+00:00", "2025-10-25T12:00:00+01:00", -2},  // across a 25-hour day
      {"America/New_York", "2025-11-03T10:00:00-05:00", "2025-11-01T12:00:00-04:00", -2},
      {"America/New_York", "2025-03-10T10:00:00-04:00", "2025-02-08T12:00:00-05:00", -30},
  };
  for (const auto& c : cases) {
    TestEnvironment env(c.now, c.zone, "en_GB");
    EXPECT_EQ(FormatTools(env).seedForDate(isoDate(c.date)), c.seed) << c.date;
  }
}

// --- Calendar dates -------------------------------------------------------------------

TEST(CalendarDates, OutOfRangeComponentsCarry) {
  TestEnvironment env("2025-01-15T10:00:00+00:00", kLondon, "en_GB");
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
  TestEnvironment env("2025-01-20T10:00:00+00:00", kLondon, "en_US");
  FormatTools tools(env);
  EXPECT_EQ(local(tools.startOfMonthMonthsAgo(0)), "2025-01-01T03:00");
  EXPECT_EQ(local(tools.startOfMonthMonthsAgo(1)), "2024-12-01T03:00");
  EXPECT_EQ(local(tools.startOfMonthMonthsAgo(13)), "2023-12-01T03:00");
  EXPECT_EQ(tools.nameOfMonthMonthsAgo(1), "Dec");
}

TEST(CalendarDates, SkippedWallTimesMoveForward) {
  TestEnvironment env("2025-03-30T00:30:00+00:00", kLondon, "en_GB");
  FormatTools tools(env);
  EXPECT_EQ(iso(tools.dateForDate(env.now, 1, 30), kLondon), "2025-03-30T02:30:00+01:00");
  EXPECT_EQ(tools.intervalSinceMidnight(isoDate("2025-03-30T03:00:00+01:00")), 7200.0);
  EXPECT_EQ(tools.intervalSinceMidnight(isoDate("2025-03-30T00:20:00.5+00:00")), 1200.5);
  EXPECT_EQ(local(tools.getMidnight()), "2025-03-30T00:00");
}

TEST(CalendarDates, WeekdaysCountFromSunday) {
  TestEnvironment env("2025-01-06T10:00:00+00:00", kLondon, "en_GB");  // a locale whose week starts Monday
  FormatTools tools(env);
  EXPECT_EQ(tools.getWeekdayNoForDate(isoDate("2025-01-05T12:00:00+00:00")), 1);
  EXPECT_EQ(tools.getWeekdayNoForDate(isoDate("2025-01-06T12:00:00+00:00")), 2);
  EXPECT_EQ(tools.dayNoOfDate(isoDate("2025-01-11T23:59:00+00:00")), 7);
  EXPECT_EQ(tools.getWeekdayNoForDate(isoDate("2025-01-11T23:59:00-01:00")), 1);  // already Sunday in London
}

TEST(CalendarDates, ADateThatIsNoDateGivesNoTextAndZero) {
  TestEnvironment env;
  FormatTools tools(env);
  const Date none = Date::fromReferenceSeconds(std::nan(""));
  EXPECT_EQ(tools.YYMMDD(none), "");
  EXPECT_EQ(tools.dayTime(none), "");
  EXPECT_EQ(tools.currentHour(none), 0);
  EXPECT_EQ(tools.whenString(none), "just now");
  EXPECT_EQ(tools.seedForDate(none), 0);
  EXPECT_EQ(tools.intervalSinceMidnight(none), 0.0);
  EXPECT_TRUE(std::isnan(tools.dateForDate(none, 21, 0).unixSeconds()));
}

TEST(CalendarDates, DaylightSavingFindsTheNightsChangeAndItsHour) {
  const struct {
    const char *zone, *date;
    int isDaylightSavings, hourMode0, hourMode1;
  } cases[] = {{kLondon, "2025-03-30T12:00:00+01:00", -1, 1, 0},
               {kLondon, "2025-10-26T12:00:00+00:00", 1, 2, 1},
               {kLondon, "2025-01-06T12:00:00+00:00", 0, 0, 0},
               {"America/New_York", "2025-03-09T23:00:00-04:00", -1, 2, 1},
               // Read from the second 01:30 of the night the clock goes back.
               {"America/New_York", "2025-11-02T01:30:00-05:00", 1, 2, 1}};
  for (const auto& c : cases) {
    TestEnvironment env("2025-06-01T12:00:00+00:00", c.zone, "en_US");
    FormatTools tools(env);
    const Date date = isoDate(c.date);
    EXPECT_EQ(tools.isDaylightSavings(date), c.isDaylightSavings) << c.date;
    EXPECT_EQ(tools.getDaylightSavingsHourForDate(date, 0), c.hourMode0) << c.date;
    EXPECT_EQ(tools.getDaylightSavingsHourForDate(date, 1), c.hourMode1) << c.date;
    EXPECT_EQ(tools.getDaylightSavingsHourForDate(date, 7), c.hourMode0) << c.date << ": any mode but 1 as 0";
  }
}

}  // namespace
}  // namespace velmora
