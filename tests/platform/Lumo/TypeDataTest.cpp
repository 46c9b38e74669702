// What the runtime knows of types: names, attributes, and operations that are called by name.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "Lumo/ArgumentError.h"
#include "Lumo/ArgumentReader.h"
#include "Lumo/Object.h"
#include "Lumo/TypeData.h"

namespace {

using testing::Contains;

enum class Mode : std::uint8_t { off, on };

/// A lamp that is made, switched and looked at by name.
class Lamp final : public Lumo::Object<Lamp> {
  public:
    explicit Lamp(std::uint16_t power) : watts(power) {
        if (power == 13) throw std::runtime_error("unlucky");
    }
    static const Lumo::TypeData& type();

    std::uint16_t watts;
    Mode mode = Mode::off;
    Lumo::Ptr<const Lamp> neighbour;
    Lumo::Ptr<Lamp> twin;
};

void modeIs(Lumo::Node& lamp, Lumo::Arguments arguments) {
    Lumo::ArgumentReader reader("modeIs", arguments, 1);
    static_cast<Lamp&>(lamp).mode = reader.number<Mode>();
}

void isOnIs(Lumo::Node& lamp, Lumo::Arguments arguments) {
    Lumo::ArgumentReader reader("isOnIs", arguments, 1);
    static_cast<Lamp&>(lamp).mode = reader.number<bool>() ? Mode::on : Mode::off;
}

void lampsAre(Lumo::Node& lamp, Lumo::Arguments arguments) {
    Lumo::ArgumentReader reader("lampsAre", arguments, 2);
    static_cast<Lamp&>(lamp).neighbour = reader.reference<const Lamp>();
    static_cast<Lamp&>(lamp).twin = reader.reference<Lamp>();
}

Lumo::Ptr<Lumo::Node> makeLamp(Lumo::Arguments arguments) {
    Lumo::ArgumentReader reader("Test::Lamp", arguments, 1);
    return Lumo::make<Lamp>(reader.number<std::uint16_t>());
}

const Lumo::TypeData& Lamp::type() {
    static const Lumo::TypeData data(
        "Test::Lamp",
        {{"watts",
          [](const Lumo::Node& o) { return std::to_string(static_cast<const Lamp&>(o).watts); }}},
        {{"modeIs", modeIs}, {"isOnIs", isOnIs}, {"lampsAre", lampsAre}}, makeLamp);
    return data;
}

/// A type that offers nothing by name.
class Stone final : public Lumo::Object<Stone> {
  public:
    static const Lumo::TypeData& type() {
        static const Lumo::TypeData data("Test::Stone");
        return data;
    }
};

class TypeDataTest : public testing::Test {
  protected:
    /// Calls an operation of the lamp, and gives what that raised.
    std::string call(std::string_view operation, const std::vector<Lumo::Argument>& arguments) {
        return errorOf([&] { lamp->typeData().call(*lamp, operation, arguments); });
    }
    template <class Step>
    static std::string errorOf(const Step& step) {
        try {
            step();
        } catch (const Lumo::ArgumentError& error) {
            return error.what();
        }
        return "";
    }
    static Lumo::Argument number(std::uint64_t value) { return value; }

    Lumo::Ptr<Lamp> lamp = Lumo::make<Lamp>(std::uint16_t{60});
};

TEST_F(TypeDataTest, ATypeIsFoundByItsNameAmongThoseKnown) {
    EXPECT_EQ(Lumo::TypeData::type("Test::Lamp"), &Lamp::type());
    EXPECT_EQ(Lumo::TypeData::type("Test::Lantern"), nullptr);
    EXPECT_THAT(Lumo::TypeData::types(), Contains(&Lamp::type()));
}

TEST_F(TypeDataTest, TypesAreListedInTheOrderInWhichTheyBecameKnown) {
    Stone::type();
    const auto types = Lumo::TypeData::types();
    EXPECT_LT(std::find(types.begin(), types.end(), &Lamp::type()),
              std::find(types.begin(), types.end(), &Stone::type()));
}

TEST_F(TypeDataTest, AnAttributeIsPrintedByItsName) {
    EXPECT_EQ(lamp->typeData().attributeText(*lamp, "watts"), "60");
    EXPECT_EQ(errorOf([&] { lamp->typeData().attributeText(*lamp, "volts"); }),
              "Test::Lamp has no attribute 'volts'");
}

TEST_F(TypeDataTest, AnObjectIsMadeFromAnArgumentList) {
    const std::vector<Lumo::Argument> arguments{number(40)};
    const auto made = Lumo::TypeData::type("Test::Lamp")->construct(arguments);
    EXPECT_EQ(Lumo::dynamicCast<Lamp>(made)->watts, 40);
    EXPECT_EQ(made->references(), 1u);
}

TEST_F(TypeDataTest, WhatAConstructorRaisesIsPassedOnAndNothingStays) {
    const auto before = Lamp::type().allocations().live;
    const std::vector<Lumo::Argument> arguments{number(13)};
    EXPECT_THROW(Lamp::type().construct(arguments), std::runtime_error);
    EXPECT_EQ(Lamp::type().allocations().live, before);
}

TEST_F(TypeDataTest, ATypeThatOffersNothingRefusesByName) {
    const auto stone = Lumo::make<Stone>();
    EXPECT_EQ(errorOf([] { Stone::type().construct({}); }),
              "Test::Stone cannot be made from an argument list");
    EXPECT_EQ(errorOf([&] { Stone::type().call(*stone, "roll", {}); }),
              "Test::Stone has no operation 'roll'");
}

TEST_F(TypeDataTest, TooManyOrTooFewArgumentsAreRefused) {
    EXPECT_EQ(call("modeIs", {}), "modeIs takes 1 arguments, not 0");
    EXPECT_EQ(call("modeIs", {number(1), number(1)}), "modeIs takes 1 arguments, not 2");
    EXPECT_EQ(errorOf([] { Lamp::type().construct({}); }), "Test::Lamp takes 1 arguments, not 0");
}

TEST_F(TypeDataTest, ANumberIsTakenAsFarAsItsTypeReaches) {
    EXPECT_EQ(call("modeIs", {number(255)}), "");
    EXPECT_EQ(lamp->mode, Mode{255});
    EXPECT_EQ(call("modeIs", {number(256)}), "modeIs does not take 256 as argument 1");
    EXPECT_EQ(call("isOnIs", {number(1)}), "");
    EXPECT_EQ(lamp->mode, Mode::on);
    EXPECT_EQ(call("isOnIs", {number(2)}), "isOnIs does not take 2 as argument 1");
    EXPECT_EQ(lamp->mode, Mode::on);
}

TEST_F(TypeDataTest, AReferenceIsNoNumberAndANumberNoReference) {
    EXPECT_EQ(call("modeIs", {Lumo::Ptr<Lumo::Node>(lamp)}),
              "modeIs does not take a reference as argument 1");
    EXPECT_EQ(call("lampsAre", {number(1), number(1)}),
              "lampsAre does not take a number as argument 1");
    EXPECT_EQ(call("lampsAre", {Lumo::Ptr<Lumo::Node>(), number(1)}),
              "lampsAre does not take a number as argument 2");
}

TEST_F(TypeDataTest, AnObjectToBeReadOnlyIsNotTakenWhereItMayBeChanged) {
    const Lumo::Ptr<Lamp> other = Lumo::make<Lamp>(std::uint16_t{25});
    const Lumo::Argument writable = Lumo::Ptr<Lumo::Node>(other);
    const Lumo::Argument readable = Lumo::Ptr<const Lumo::Node>(other);
    EXPECT_EQ(call("lampsAre", {readable, writable}), "");
    EXPECT_EQ(call("lampsAre", {writable, writable}), "");
    EXPECT_EQ(lamp->neighbour, other);
    EXPECT_EQ(lamp->twin, other);
    EXPECT_EQ(call("lampsAre", {readable, readable}),
              "lampsAre does not take an object that may only be read as argument 2");
}

TEST_F(TypeDataTest, AnAbsentObjectIsTakenEverywhere) {
    EXPECT_EQ(call("lampsAre", {Lumo::Ptr<Lumo::Node>(), Lumo::Ptr<const Lumo::Node>()}), "");
    EXPECT_FALSE(lamp->neighbour);
    EXPECT_FALSE(lamp->twin);
}

TEST_F(TypeDataTest, AnObjectOfAnotherTypeIsRefusedByItsName) {
    const Lumo::Argument stone = Lumo::Ptr<Lumo::Node>(Lumo::make<Stone>());
    const Lumo::Argument none = Lumo::Ptr<Lumo::Node>();
    EXPECT_EQ(call("lampsAre", {stone, none}), "lampsAre does not take Test::Stone as argument 1");
    EXPECT_EQ(call("lampsAre", {none, stone}), "lampsAre does not take Test::Stone as argument 2");
}

TEST(ArgumentReaderDeathTest, MoreArgumentsThanItHasMustNotBeTaken) {
    const std::vector<Lumo::Argument> arguments{std::uint64_t{1}};
    Lumo::ArgumentReader reader("modeIs", arguments, 1);
    reader.number<Mode>();
    EXPECT_DEATH(reader.number<Mode>(), "assertion failed: taken_ < arguments_.size\\(\\)");
}

}  // namespace
