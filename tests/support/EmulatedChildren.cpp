// A cross build's tests run under an emulator, and a host without binfmt
// cannot exec an Arm binary: a death test's child, which re-executes the
// test binary, is started through the same emulator. Nothing changes on a
// native build, where TAMO_TEST_EMULATOR is empty.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

class EmulatedChildren : public ::testing::Environment {
public:
    void SetUp() override
    {
        std::vector<std::string> argv;
        std::istringstream words(TAMO_TEST_EMULATOR);
        for (std::string word; words >> word;)
            argv.push_back(word);
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
