#include <cstdlib>

#include <gtest/gtest.h>
#include <unistd.h>

#include <privatebus.h>
#include <waituntil.h>

namespace
{

/**
 *  Once something has failed, what is waited for mostly does not come: the program fails soon. And whoever limits
 *  the waits, limits the cases, of which one that hangs ends the program.
 */
class Impatience final : public testing::EmptyTestEventListener
{
public:
    Impatience()
    {
        const char *const lLimit = std::getenv("ZQ_WAIT_LIMIT"); // in seconds

        if (lLimit == nullptr)
            return;
        zq::Mock::gWaitLimit = std::chrono::seconds(std::atoi(lLimit));
        mCaseLimit           = static_cast<unsigned>(5 * std::atoi(lLimit));
    }

private:
    void OnTestStart(const testing::TestInfo &) override { alarm(mCaseLimit); }

    void OnTestPartResult(const testing::TestPartResult &aResult) override
    {
        if (aResult.failed())
            zq::Mock::gWaitLimit = std::chrono::seconds(1);
    }

    unsigned mCaseLimit = 0;
};

} // namespace

int main(int anArgumentCount, char **anArguments)
{
    testing::InitGoogleTest(&anArgumentCount, anArguments);
    testing::UnitTest::GetInstance()->listeners().Append(new Impatience);
    zq::Mock::UseNoSystemBus();

    return RUN_ALL_TESTS();
}
