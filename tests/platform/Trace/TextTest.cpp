#include <fcntl.h>
#include <unistd.h>

#include <optional>
#include <regex>
#include <stdexcept>

#include "platform/Trace/TraceTest.h"

namespace {

using Bridging::VlanId;
using Ondel::IntfId;
using Ondel::IpGenAddr;
using Routing::Gmp::Tessel::App;
using Routing::Gmp::Tessel::FilterMode;
using Routing::Gmp::Tessel::VrfApp;
using Trace::Levels;

IpGenAddr address(const char* text) {
    return IpGenAddr::parse(text).value();
}

TEST(TraceText, IsWrittenWhenItsLevelIsEnabled) {
    const CollectedTexts collected;
    testHandle().levelsIs(Levels::of(8));
    TRACE(testHandle(), 8, "handleInclude",
          "handleInclude: Update gmpStatus ({}) for Smet ( Vlan {}, {}, {} ), add include: {}",
          L3::VrfName("red"), VlanId(10), address("10.0.0.1"), address("239.1.1.1"), true);
    const std::vector<CollectedTexts::Text> expected{
        {"TraceText.IsWrittenWhenItsLevelIsEnabled", 8, "handleInclude",
         "handleInclude: Update gmpStatus (red) for Smet ( Vlan 10, 10.0.0.1, 239.1.1.1 ), add "
         "include: true"}};
    EXPECT_EQ(collected.texts, expected);
}

TEST(TraceText, IsNotWrittenWhenItsLevelIsNotEnabled) {
    const CollectedTexts collected;
    testHandle().levelsIs(Levels::parse("0-7,9"));
    TRACE(testHandle(), 8, "f", "{}", 1);
    TRACE_TEXT(testHandle(), 8, "f", "{}", 1);
    TRACE_AS(testHandle(), 8, "f", "{}", 1);
    EXPECT_TRUE(collected.texts.empty());
}

TEST(TraceText, OfADisabledLevelEvaluatesNoArgument) {
    const CollectedTexts collected;
    int evaluations = 0;
    TRACE_TEXT(testHandle(), 8, "f", "{}", ++evaluations);
    EXPECT_EQ(evaluations, 0);
    testHandle().levelsIs(Levels::of(8));
    TRACE_TEXT(testHandle(), 8, "f", "{}", ++evaluations);
    EXPECT_EQ(evaluations, 1);
    EXPECT_EQ(collected.texts.size(), 1u);
}

TEST(TraceText, OfAMessageEvaluatesEachArgumentOnceWhateverIsEnabled) {
    const CollectedTexts collected;
    int first = 0;
    int second = 0;
    for (const Levels levels : {Levels(), Levels::all()}) {
        testHandle().levelsIs(levels);
        TRACE(testHandle(), 7, "f", "{} {}", ++first, ++second);
    }
    EXPECT_EQ(first, 2);
    EXPECT_EQ(second, 2);
    ASSERT_EQ(collected.texts.size(), 1u);
    EXPECT_EQ(collected.texts[0].text, "2 2");
}

/// The text of a message with one value.
template <class T>
std::string printed(const T& value) {
    const CollectedTexts collected;
    testHandle().levelsIs(Levels::all());
    TRACE_TEXT(testHandle(), 0, "f", "{}", value);
    return collected.texts.at(0).text;
}

TEST(TraceText, PrintsAddressesInTheirUsualForm) {
    EXPECT_EQ(printed(address("239.1.1.1")), "239.1.1.1");
    EXPECT_EQ(printed(address("ff3e:0:0:0::1")), "ff3e::1");
    EXPECT_EQ(printed(IpGenAddr::zero(IpGenAddr::Family::ipv4)), "0.0.0.0");
    EXPECT_EQ(printed(IpGenAddr()), "none");
}

TEST(TraceText, PrintsIdentifiersAsPeopleKnowThem) {
    EXPECT_EQ(printed(VlanId(4094)), "4094");
    EXPECT_EQ(printed(VlanId::Optional()), "0");
    EXPECT_EQ(printed(IntfId("vlan10")), "vlan10");
    EXPECT_EQ(printed(IntfId("mtunnel3")), "mtunnel3");
    EXPECT_EQ(printed(IntfId("swp1")), "swp1");
    EXPECT_EQ(printed(VrfApp{L3::VrfName("red"), App::irb}), "red.irb");
    EXPECT_EQ(printed(App::staticJoin), "static");
    EXPECT_EQ(printed(static_cast<App>(77)), "app77");
    EXPECT_EQ(printed(FilterMode::include), "include");
    EXPECT_EQ(printed(FilterMode::exclude), "exclude");
}

TEST(TraceText, PrintsNumbersBooleansAndTexts) {
    EXPECT_EQ(printed(std::uint8_t{7}), "7");
    EXPECT_EQ(printed(std::uint16_t{65535}), "65535");
    EXPECT_EQ(printed(4294967295u), "4294967295");
    EXPECT_EQ(printed(std::size_t{1} << 40), "1099511627776");
    EXPECT_EQ(printed(-5), "-5");
    EXPECT_EQ(printed(true), "true");
    EXPECT_EQ(printed(false), "false");
    EXPECT_EQ(printed("literal"), "literal");
    EXPECT_EQ(printed(std::string("string")), "string");
    EXPECT_EQ(printed(std::string(1000, 'x')), std::string(1000, 'x'));
}

TEST(TraceText, PrintsAnAbsentVrfNameAsNothing) {
    EXPECT_EQ(printed(L3::VrfName()), "");
    EXPECT_EQ(printed(std::optional<L3::VrfName>()), "");
    EXPECT_EQ(printed(std::optional(L3::VrfName("red"))), "red");
}

TEST(TraceText, MayHaveNoValuesAndTextOnBothSidesOfThem) {
    const CollectedTexts collected;
    testHandle().levelsIs(Levels::all());
    TRACE(testHandle(), 3, "f", " PEG DR change");
    TRACE(testHandle(), 3, "f", "{}{} and {}.", 1u, 2u, 3u);
    ASSERT_EQ(collected.texts.size(), 2u);
    EXPECT_EQ(collected.texts[0].text, " PEG DR change");
    EXPECT_EQ(collected.texts[1].text, "12 and 3.");
}

TEST(TraceText, CarriesAFunctionThatOnlyTheRunKnows) {
    const CollectedTexts collected;
    testHandle().levelsIs(Levels::of(8));
    for (const std::string handler : {"handleInclude", "handleExclude"})
        TRACE_AS(testHandle(), 8, handler, "{}: No vrfName for vlanId {}", handler, VlanId(10));
    ASSERT_EQ(collected.texts.size(), 2u);
    EXPECT_EQ(collected.texts[0].function, "handleInclude");
    EXPECT_EQ(collected.texts[1].function, "handleExclude");
    EXPECT_EQ(collected.texts[1].text, "handleExclude: No vrfName for vlanId 10");
}

TEST(TraceText, ALineIsTimeHandleLevelFunctionAndText) {
    const Trace::TextRecord record{testHandle(), 8, "handleInclude", "handleInclude: red",
                                   1'795'240'295'472'042'999};
    EXPECT_EQ(Trace::textLine(record),
              "2026-11-21T05:51:35.472042Z TraceText.ALineIsTimeHandleLevelFunctionAndText/8 "
              "handleInclude | "
              "handleInclude: red");
}

TEST(TraceText, GoesToStandardErrorByDefault) {
    testHandle().levelsIs(Levels::of(3));
    testing::internal::CaptureStderr();
    TRACE(testHandle(), 3, "handlePegDrStatus", " PEG DR change, VLAN: {}", VlanId(10));
    const std::string line = testing::internal::GetCapturedStderr();
    const std::regex expected(
        R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z TraceText\.GoesToStandardErrorByDefault/3 )"
        R"(handlePegDrStatus \|  PEG DR change, VLAN: 10\n)");
    EXPECT_TRUE(std::regex_match(line, expected)) << line;
}

TEST(TraceText, IsDroppedWhereStandardErrorIsClosed) {
    testHandle().levelsIs(Levels::of(3));
    const int kept = dup(STDERR_FILENO);
    close(STDERR_FILENO);
    TRACE(testHandle(), 3, "f", "{}", 1u);
    EXPECT_EQ(fcntl(STDERR_FILENO, F_GETFD), -1) << "something took its place";
    dup2(kept, STDERR_FILENO);
    close(kept);
}

TEST(TraceText, OnStandardErrorIsOneLineWhateverAValueHolds) {
    testHandle().levelsIs(Levels::of(3));
    testing::internal::CaptureStderr();
    TRACE(testHandle(), 3, "f", "vrf {}", L3::VrfName("a\nb\x7f"));
    const std::string line = testing::internal::GetCapturedStderr();
    EXPECT_NE(line.find("f | vrf a\\x0ab\\x7f\n"), std::string::npos) << line;
}

TEST(TraceText, ASinkMayTraceAndReplaceItself) {
    std::vector<std::string> texts;
    testHandle().levelsIs(Levels::all());
    Trace::textSinkIs([&](const Trace::TextRecord& record) {
        texts.emplace_back(record.text);
        if (record.level == 1) TRACE_TEXT(testHandle(), 2, "sink", "from the sink");
        Trace::textSinkIs([&](const Trace::TextRecord& next) {
            texts.push_back("second: " + std::string(next.text));
        });
    });
    TRACE_TEXT(testHandle(), 1, "f", "one");
    TRACE_TEXT(testHandle(), 1, "f", "two");
    Trace::textSinkIs({});
    EXPECT_EQ(texts, (std::vector<std::string>{"one", "from the sink", "second: two"}));
}

TEST(TraceText, WhatASinkThrowsReachesWhoeverTraced) {
    testHandle().levelsIs(Levels::all());
    Trace::textSinkIs([](const Trace::TextRecord&) { throw std::runtime_error("full"); });
    EXPECT_THROW(TRACE(testHandle(), 1, "f", "one"), std::runtime_error);
    Trace::textSinkIs({});
}

// What does not compile: another number of {} than arguments, a level over 9, and a value of a type
// that has no place in a record.
static_assert(Trace::placeholderCount("") == 0);
static_assert(Trace::placeholderCount("{} a {}") == 2);
static_assert(Trace::placeholderCount("{{}}") == 1);
static_assert(!Trace::Traceable<char>);
static_assert(!Trace::Traceable<double>);
static_assert(!Trace::Traceable<std::vector<int>>);

}  // namespace
