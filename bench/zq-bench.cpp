// zq-bench times|instructions|calls; scripts/bench runs it and judges the output.

#include "zq-bench.h"

#include <privatebus.h>

#include <cstdio>
#include <cstring>

int main(int anArgumentCount, char **anArguments)
{
    using namespace zq::Bench;

    const char *const lHow = anArgumentCount > 1 ? anArguments[1] : "times";

    if (std::strcmp(lHow, "daemon") == 0)
        return RunDaemon();

    if (std::strcmp(lHow, "instructions") == 0)
        gCounting = Counting::Instructions;
    else if (std::strcmp(lHow, "calls") == 0)
        gCounting = Counting::Calls;

    Require(zq::Mock::SystemBus().Start());
    Daemon::Start();
    MeasureBytes();
    MeasureModel();
    return 0;
}
