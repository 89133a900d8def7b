#include <cstdlib>

#include <gtest/gtest.h>

#include <privatebus.h>
#include <waituntil.h>

namespace
{

/** Once something has failed, what is waited for mostly does not come: the program fails soon. */
class Impatience final : public testing::EmptyTestEventListener
{
    void OnTestPartResult(const testing::TestPartResult &aResult) override
    {
        if (aResult.failed())
            zq::Mock::gWaitLimit = std::chrono::seconds(1);
    }
};

} // namespace

int main(int anArgumentCount, char **anArguments)
{
    const char *const lLimit = std::getenv("ZQ_WAIT_LIMIT"); // in milliseconds

    if (lLimit != nullptr)
        zq::Mock::gWaitLimit = std::chrono::milliseconds(std::atoi(lLimit));
    testing::InitGoogleTest(&anArgumentCount, anArguments);
    testing::UnitTest::GetInstance()->listeners().Append(new Impatience);
    zq::Mock::UseNoSystemBus();

    return RUN_ALL_TESTS();
}
