#include <optional>
#include <stdexcept>
#include <thread>

#include "platform/Trace/TraceTest.h"

namespace {

using Bridging::VlanId;
using Ondel::IntfId;
using Ondel::IpGenAddr;
using Routing::Gmp::Tessel::App;
using Routing::Gmp::Tessel::FilterMode;
using Routing::Gmp::Tessel::VrfApp;
using Trace::RecordType;
using Trace::RingReader;
using Trace::RingRecord;
using Trace::RingValue;
using Trace::ValueKind;

/// The latest record of the running test.
RingRecord latest() {
    return testRecords(RingReader::ofProcess()).back();
}

TEST(TraceRing, HoldsAMessageWhoseLevelIsNotEnabled) {
    const std::int64_t before = Trace::wallClockNs();
    TRACE(testHandle(), 8, "handleExclude", "handleExclude: vlan {}, {}", VlanId(10), true);
    const RingRecord record = latest();
    EXPECT_EQ(record.type, RecordType::message);
    EXPECT_EQ(record.handle, "TraceRing.HoldsAMessageWhoseLevelIsNotEnabled");
    EXPECT_EQ(record.level, 8u);
    EXPECT_EQ(record.function, "handleExclude");
    EXPECT_EQ(record.format, "handleExclude: vlan {}, {}");
    EXPECT_EQ(record.text(), "handleExclude: vlan 10, true");
    EXPECT_GE(record.timeNs, before);
    EXPECT_LE(record.timeNs, Trace::wallClockNs());
    EXPECT_GT(record.thread, 0u);
}

TEST(TraceRing, DoesNotHoldWhatIsTextAlone) {
    const CollectedTexts collected;
    testHandle().levelsIs(Trace::Levels::all());
    TRACE_TEXT(testHandle(), 8, "f", "text alone");
    EXPECT_EQ(collected.texts.size(), 1u);
    EXPECT_TRUE(testRecords(RingReader::ofProcess()).empty());
}

/// How a value comes back from the ring.
template <class T>
RingValue decoded(const T& value) {
    TRACE(testHandle(), 1, "f", "{}", value);
    return latest().values.at(0);
}

void expectValue(const RingValue& value, ValueKind kind, const std::string& bytes,
                 const std::string& text) {
    EXPECT_EQ(value.kind, kind) << text;
    EXPECT_EQ(value.bytes, bytes) << text;
    EXPECT_EQ(value.text(), text);
    EXPECT_FALSE(value.isCut);
}

template <class Number>
std::string bytesOf(Number number) {
    return {reinterpret_cast<const char*>(&number), sizeof number};
}

TEST(TraceRing, HoldsTextsAsTheyAre) {
    expectValue(decoded("literal"), ValueKind::text, "literal", "literal");
    expectValue(decoded(std::string("a\0b", 3)), ValueKind::text, {"a\0b", 3}, {"a\0b", 3});
    expectValue(decoded(std::string_view()), ValueKind::text, "", "");
    expectValue(decoded(L3::VrfName("red")), ValueKind::text, "red", "red");
    expectValue(decoded(std::optional<L3::VrfName>()), ValueKind::text, "", "");
    expectValue(decoded(std::optional(L3::VrfName("red"))), ValueKind::text, "red", "red");
    expectValue(decoded(VrfApp{L3::VrfName("red"), App::irb}), ValueKind::text, "red.irb",
                "red.irb");
    const VrfApp longest{L3::VrfName(std::string(100, 'v')), static_cast<App>(255)};
    expectValue(decoded(longest), ValueKind::text, longest.name(), longest.name());
}

TEST(TraceRing, HoldsAddressesAsFamilyAndNetworkOrder) {
    expectValue(decoded(IpGenAddr::parse("239.1.2.3").value()), ValueKind::address,
                "\x01\xef\x01\x02\x03", "239.1.2.3");
    const std::string ipv6("\x02\xff\x3e\0\0\0\0\0\0\0\0\0\0\0\0\0\x01", 17);
    expectValue(decoded(IpGenAddr::parse("ff3e::1").value()), ValueKind::address, ipv6, "ff3e::1");
    expectValue(decoded(IpGenAddr()), ValueKind::address, std::string(1, '\0'), "none");
    const IpGenAddr other(static_cast<IpGenAddr::Family>(9), IpGenAddr::Bytes{7});
    expectValue(decoded(other), ValueKind::address, "\x09\x07" + std::string(15, '\0'), "family9");
}

TEST(TraceRing, HoldsInterfacesAsTheirShortNames) {
    const std::string longest(32, 'p');
    for (const std::string& name : {std::string("vlan10"), std::string("vlan65535"),
                                    std::string("mtunnel1073741823"), std::string("swp1"), longest})
        expectValue(decoded(IntfId(name)), ValueKind::interface, name, name);
    expectValue(decoded(IntfId()), ValueKind::interface, "", "");
}

TEST(TraceRing, HoldsEnumerationsAndBooleansAsOneByte) {
    expectValue(decoded(FilterMode::exclude), ValueKind::filterMode, std::string(1, 0), "exclude");
    expectValue(decoded(FilterMode::include), ValueKind::filterMode, "\x01", "include");
    expectValue(decoded(App::irb), ValueKind::application, "\x01", "irb");
    expectValue(decoded(static_cast<App>(77)), ValueKind::application, "M", "app77");
    expectValue(decoded(true), ValueKind::boolean, "\x01", "true");
    expectValue(decoded(false), ValueKind::boolean, std::string(1, 0), "false");
}

TEST(TraceRing, HoldsAVlanNumberAsTwoBytesAndACountAsFour) {
    expectValue(decoded(VlanId(4094)), ValueKind::unsigned16, bytesOf(std::uint16_t{4094}), "4094");
    expectValue(decoded(VlanId::Optional()), ValueKind::unsigned16, bytesOf(std::uint16_t{0}), "0");
    expectValue(decoded(std::uint16_t{5000}), ValueKind::unsigned16, bytesOf(std::uint16_t{5000}),
                "5000");
    expectValue(decoded(3u), ValueKind::unsigned32, bytesOf(3u), "3");
}

TEST(TraceRing, HoldsOtherNumbersInTheirOwnWidth) {
    expectValue(decoded(std::uint8_t{200}), ValueKind::unsigned8, "\xc8", "200");
    expectValue(decoded(std::uint64_t{1} << 40), ValueKind::unsigned64,
                bytesOf(std::uint64_t{1} << 40), "1099511627776");
    expectValue(decoded(-5), ValueKind::signed64, bytesOf(std::int64_t{-5}), "-5");
}

TEST(TraceRing, MarksATextThatIsCutAndLeavesOutWhatFollows) {
    TRACE(testHandle(), 1, "f", "{}: {}, {}", 7u, std::string(1000, 'x'), VlanId(10));
    const RingRecord record = latest();
    ASSERT_EQ(record.values.size(), 2u);
    EXPECT_TRUE(record.values[1].isCut);
    EXPECT_EQ(record.values[1].bytes, std::string(Trace::ringPayloadBytes - 4 - 2, 'x'));
    EXPECT_EQ(record.text(), "7: " + record.values[1].bytes + "..., ?");
}

TEST(TraceRing, KeepsATextThatJustFits) {
    const std::string text(Trace::ringPayloadBytes - 2, 'x');
    TRACE(testHandle(), 1, "f", "{}{}", text, true);
    const RingRecord record = latest();
    ASSERT_EQ(record.values.size(), 1u);
    EXPECT_FALSE(record.values[0].isCut);
    EXPECT_EQ(record.text(), text + "?");
}

TEST(TraceRing, LeavesOutEverythingBehindAValueThatDoesNotFit) {
    const std::string text(Trace::ringPayloadBytes - 2 - 3, 'x');
    TRACE(testHandle(), 1, "f", "{},{},{}", text, 1u, true);
    EXPECT_EQ(latest().text(), text + ",?,?");
}

TEST(TraceRing, HoldsTheLongestMessageOfTwoVrfNamesWhole) {
    const std::string name(100, 'v');
    TRACE(testHandle(), 7, "f", "( {} ), old name: {}, new name: {} vlan is {}", VlanId(10),
          L3::VrfName(name), L3::VrfName(name), VlanId(10));
    EXPECT_EQ(latest().text(), "( 10 ), old name: " + name + ", new name: " + name + " vlan is 10");
}

TEST(TraceRing, CarriesAFunctionThatOnlyTheRunKnows) {
    for (const std::string handler : {"handleInclude", "handleExclude"})
        TRACE_AS(testHandle(), 8, handler, "{}: vlan {}", handler, VlanId(10));
    const auto records = testRecords(RingReader::ofProcess());
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].function, "handleInclude");
    EXPECT_EQ(records[1].function, "handleExclude");
    EXPECT_EQ(records[1].text(), "handleExclude: vlan 10");
}

TEST(TraceRing, HoldsABlocksBeginAndItsEndWithTheDuration) {
    const CollectedTexts collected;
    testHandle().levelsIs(Trace::Levels::all());
    std::int64_t insideNs = 0;
    {
        TRACE_BLOCK(testHandle(), "void Sm::handleSbdVlanToVrf(U32)");
        const std::int64_t began = Trace::steadyClockNs();
        TRACE(testHandle(), 2, "handleSbdVlanToVrf", "inside");
        insideNs = Trace::steadyClockNs() - began;
    }
    const auto records = testRecords(RingReader::ofProcess());
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].type, RecordType::blockBegin);
    EXPECT_EQ(records[0].function, "void Sm::handleSbdVlanToVrf(U32)");
    EXPECT_EQ(records[1].type, RecordType::message);
    EXPECT_EQ(records[2].type, RecordType::blockEnd);
    EXPECT_EQ(records[2].function, "void Sm::handleSbdVlanToVrf(U32)");
    EXPECT_GE(records[2].durationNs, static_cast<std::uint64_t>(insideNs));
    EXPECT_EQ(records[2].timeNs,
              records[0].timeNs + static_cast<std::int64_t>(records[2].durationNs));
    EXPECT_EQ(collected.texts.size(), 1u) << "a block writes no text";
}

TEST(TraceRing, ClosesABlockOnAnExceptionAndAnEarlyReturn) {
    const auto operation = [](bool fails) {
        TRACE_BLOCK(testHandle(), "operation");
        if (fails) throw std::runtime_error("failed");
        return;
    };
    EXPECT_THROW(operation(true), std::runtime_error);
    operation(false);
    const auto records = testRecords(RingReader::ofProcess());
    ASSERT_EQ(records.size(), 4u);
    for (const std::size_t i : {0u, 2u}) {
        EXPECT_EQ(records[i].type, RecordType::blockBegin);
        EXPECT_EQ(records[i + 1].type, RecordType::blockEnd);
    }
}

TEST(TraceRing, KeepsTheLatestRecordsWhenItWraps) {
    const TemporaryDirectory directory;
    Trace::ringFileIs(directory.file("ring"));
    const std::uint32_t count = 2 * Trace::ringDefaultSlots + 10;
    for (std::uint32_t i = 1; i <= count; ++i)
        TRACE(testHandle(), 1, "f", "{}", i);
    const RingReader reader = RingReader::ofProcess();
    EXPECT_GE(reader.written(), count);
    EXPECT_EQ(reader.damaged(), 0u);
    const auto records = testRecords(reader);
    ASSERT_EQ(records.size(), Trace::ringDefaultSlots);
    std::uint32_t expected = count - Trace::ringDefaultSlots;
    for (const RingRecord& record : records)
        ASSERT_EQ(record.text(), std::to_string(++expected));
}

TEST(TraceRing, NumbersTheThreadsThatTrace) {
    TRACE(testHandle(), 1, "f", "here");
    std::thread([] { TRACE(testHandle(), 1, "f", "there"); }).join();
    const auto records = testRecords(RingReader::ofProcess());
    ASSERT_EQ(records.size(), 2u);
    EXPECT_NE(records[0].thread, records[1].thread);
}

TEST(TraceRing, IsWrittenByManyThreadsAndReadMeanwhile) {
    constexpr std::uint32_t perThread = 1000;
    const auto write = [](std::uint32_t writer) {
        for (std::uint32_t i = 1; i <= perThread; ++i)
            TRACE(testHandle(), 1, "f", "{} {} {}", writer, i,
                  std::uint64_t{writer} * perThread + i);
    };
    const auto expectWhole = [](const RingRecord& record) {
        const auto number = [&](std::size_t i) { return std::stoul(record.values.at(i).text()); };
        ASSERT_EQ(number(2), number(0) * perThread + number(1));
    };
    const TemporaryDirectory directory;
    Trace::ringFileIs(directory.file("ring"));
    std::vector<std::thread> writers;
    for (const std::uint32_t writer : {0u, 1u, 2u})
        writers.emplace_back(write, writer);
    for (int i = 0; i < 20; ++i) {
        for (const RingRecord& record : testRecords(RingReader::ofProcess()))
            expectWhole(record);
    }
    for (std::thread& writer : writers)
        writer.join();
    const RingReader reader = RingReader::ofProcess();
    EXPECT_EQ(reader.written(), 3 * perThread);
    const auto records = testRecords(reader);
    EXPECT_EQ(records.size(), 3 * perThread);
    for (const RingRecord& record : records)
        expectWhole(record);
}

}  // namespace
