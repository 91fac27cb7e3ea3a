// A cross build's tests run under an emulator, and a host without binfmt
// cannot exec an Arm binary: a death test's child, which re-executes the
// test binary, is started through the same emulator. Nothing changes on a
// native build, where TAMO_TEST_EMULATOR is empty.
#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct EmulatedChildren : ::testing::Environment {
    void SetUp() override
    {
        std::istringstream words(TAMO_TEST_EMULATOR);
        std::vector<std::string> argv{std::istream_iterator<std::string>(words), {}};
        if (argv.empty())
            return;
        const std::vector<std::string> own = testing::internal::GetArgvs();
        argv.insert(argv.end(), own.begin(), own.end());
        testing::internal::SetInjectableArgvs(argv);
    }
};

[[maybe_unused]] ::testing::Environment* const registered =
    ::testing::AddGlobalTestEnvironment(new EmulatedChildren);

} // namespace
