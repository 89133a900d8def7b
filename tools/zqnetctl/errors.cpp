#include "errors.h"

#include "output.h"

#include <cerrno>
#include <cstdio>

namespace zqnetctl
{

std::string DescribeError(zqError anError)
{
    return std::string(zqErrorText(anError)) + " (" + std::to_string(anError) + ")";
}

ExitStatus GetExitStatus(zqError anError)
{
    switch (anError)
    {
    case zqError_None:
        return kExitSuccess;
    case zqError_WrongState:
    case zqError_ServiceUnknown:
        return kExitAbsent;
    default:
        return kExitFailed;
    }
}

ExitStatus GetOutputStatus(bool aPrinted)
{
    return aPrinted || errno == EPIPE ? kExitSuccess : kExitFailed;
}

void Complain(const std::string &aWhat, const std::string &aProblem)
{
    ClearProgress();
    fprintf(stderr, "zqnetctl: %s: %s\n", Printable(aWhat).c_str(), Printable(aProblem).c_str());
}

ExitStatus Complain(const std::string &aWhat, zqError anError)
{
    if (anError != zqError_None)
        Complain(aWhat, DescribeError(anError));
    return GetExitStatus(anError);
}

} // namespace zqnetctl
