#include <gtest/gtest.h>

#include "privatebus.h"

int main(int anArgumentCount, char **anArguments)
{
    testing::InitGoogleTest(&anArgumentCount, anArguments);
    zq::Test::UseNoSystemBus();

    return RUN_ALL_TESTS();
}
