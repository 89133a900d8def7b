#include "errors.h"

#include "output.h"

#include <cerrno>
#include <cstdio>

namespace zqnetctl
{

namespace
{

struct Row
{
    zqError     mError;
    const char *mText;
};

constexpr Row kTexts[] = {
    { zqError_None, "success" },
    { zqError_Failed, "failed" },
    { zqError_OutOfMemory, "out of memory" },
    { zqError_WrongState, "ConnMan is not available" },
    { zqError_Missing, "a required value is missing" },
    { zqError_InvalidArgument, "invalid argument" },
    { zqError_NoResources, "out of resources" },
    { zqError_BadReply, "unexpected reply" },
    { zqError_NotConfigured, "not configured" },
    { zqError_TimedOut, "timed out" },
    { zqError_NotFound, "not found" },
    { zqError_AlreadyPresent, "not unique" },
    { zqError_PermissionDenied, "permission denied" },
    { zqError_Aborted, "aborted" },
    { zqError_NotConnected, "not connected" },
    { zqError_Already, "already in that state" },
    { zqError_InProgress, "already in progress" },
    { zqError_NotImplemented, "not implemented" },
    { zqError_NotSupported, "not supported" },
    { zqError_NoRoute, "no route to host" },
    { zqError_ServiceUnknown, "ConnMan is not on the bus" },
    { zqError_NoReply, "no reply" },
    { zqError_UnknownMethod, "unknown method" },
    { zqError_UnknownObject, "unknown object" },
};

} // namespace

const char *GetErrorText(zqError anError)
{
    for (const Row &lRow : kTexts)
        if (lRow.mError == anError)
            return lRow.mText;
    return "unknown error";
}

std::string DescribeError(zqError anError)
{
    return std::string(GetErrorText(anError)) + " (" + std::to_string(anError) + ")";
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
