// Loading shared libraries whose types can be made by name.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "Lumo/Module.h"
#include "Lumo/TypeData.h"

namespace {

using testing::HasSubstr;

std::string loadError(const std::filesystem::path& file) {
    try {
        Lumo::Module::load(file);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST(Module, ItsTypesAreKnownAndCanBeMadeOnceItIsLoaded) {
    Lumo::Module::load(LUMO_TEST_MODULE);
    const Lumo::TypeData* type = Lumo::TypeData::type("TestModule::Thing");
    ASSERT_NE(type, nullptr);
    const auto thing = type->construct({});
    EXPECT_EQ(thing->typeData().name(), "TestModule::Thing");
    EXPECT_EQ(type->allocations().live, 1u);
}

TEST(Module, LoadingItAgainDoesNothing) {
    Lumo::Module::load(LUMO_TEST_MODULE);
    const std::size_t types = Lumo::TypeData::types().size();
    Lumo::Module::load(LUMO_TEST_MODULE);
    EXPECT_EQ(Lumo::TypeData::types().size(), types);
}

TEST(Module, AFileThatDoesNotExistIsNamed) {
    EXPECT_THAT(loadError("/nowhere/libNone.so"), HasSubstr("/nowhere/libNone.so"));
}

TEST(Module, AFileThatIsNoLibraryIsNamed) {
    const std::filesystem::path file =
        std::filesystem::temp_directory_path() / ("no-library-" + std::to_string(getpid()) + ".so");
    std::ofstream(file) << "not a library, though longer than the header of one would be: "
                        << std::string(200, '.');
    EXPECT_THAT(loadError(file), HasSubstr(file.string()));
    std::filesystem::remove(file);
}

TEST(Module, ALibraryThatIsNoModuleIsNamed) {
    EXPECT_EQ(loadError(IRB_PLATFORM_LIBRARY),
              std::string(IRB_PLATFORM_LIBRARY) + ": no module: it lacks lumoModuleTypes");
}

TEST(Module, AFileIsLookedForWhereItsPathSaysNotWhereLibrariesAre) {
    EXPECT_THAT(loadError("libm.so.6"), HasSubstr("libm.so.6: cannot open"));
}

}  // namespace
