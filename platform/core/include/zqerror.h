/**
 *  @file
 *    Result codes shared by every library of the platform, and what they mean.
 */

#ifndef ZQERROR_H
#define ZQERROR_H

#include <cstdint>

/** 0 for success, a negative code otherwise. */
using zqError = std::int32_t;

/** Every code: its name, its number and what it means. */
#define ZQ_ERRORS(ZQ_ERROR)                                                                                            \
    ZQ_ERROR(zqError_None, 0, "success")                                                                               \
    ZQ_ERROR(zqError_Failed, -1, "failed")                                                                             \
    ZQ_ERROR(zqError_OutOfMemory, -2, "out of memory")                                                                 \
    ZQ_ERROR(zqError_WrongState, -3, "wrong state, or the daemon is not available")                                    \
    ZQ_ERROR(zqError_Missing, -4, "a required value is missing")                                                       \
    ZQ_ERROR(zqError_InvalidArgument, -5, "invalid argument")                                                          \
    ZQ_ERROR(zqError_NoResources, -7, "out of resources") /* an allocation or the creation of a lock failed */         \
    ZQ_ERROR(zqError_BadReply, -12, "unexpected reply")                                                                \
    ZQ_ERROR(zqError_NotConfigured, -15, "not configured")                                                             \
    ZQ_ERROR(zqError_TimedOut, -16, "timed out")                                                                       \
    ZQ_ERROR(zqError_NotFound, -17, "not found")                                                                       \
    ZQ_ERROR(zqError_AlreadyPresent, -18, "already present, or not unique")                                            \
    ZQ_ERROR(zqError_PermissionDenied, -19, "permission denied")                                                       \
    ZQ_ERROR(zqError_Aborted, -20, "aborted")                                                                          \
    ZQ_ERROR(zqError_NotConnected, -21, "not connected")                                                               \
    ZQ_ERROR(zqError_Already, -22, "already in that state")                                                            \
    ZQ_ERROR(zqError_InProgress, -23, "already in progress")                                                           \
    ZQ_ERROR(zqError_NotImplemented, -26, "not implemented")                                                           \
    ZQ_ERROR(zqError_NotSupported, -27, "not supported")                                                               \
    ZQ_ERROR(zqError_NoRoute, -113, "no route to host")                                                                \
    ZQ_ERROR(zqError_ServiceUnknown, -7000, "the daemon is not on the bus")                                            \
    ZQ_ERROR(zqError_NoReply, -7001, "no reply") /* or the peer went away */                                           \
    ZQ_ERROR(zqError_UnknownMethod, -7002, "unknown method")                                                           \
    ZQ_ERROR(zqError_UnknownObject, -7003, "unknown object")

enum : zqError
{
#define ZQ_ERROR(aName, aCode, aText) aName = (aCode),
    ZQ_ERRORS(ZQ_ERROR)
#undef ZQ_ERROR
};

/** A code's name, such as "zqError_NotFound"; "unknown" for a code that is none of these. From any thread. */
inline const char *zqErrorName(zqError anError) noexcept
{
    switch (anError)
    {
#define ZQ_ERROR(aName, aCode, aText)                                                                                  \
    case aName:                                                                                                        \
        return #aName;
        ZQ_ERRORS(ZQ_ERROR)
#undef ZQ_ERROR
    default:
        return "unknown";
    }
}

/** What a code means, in English, such as "not found"; "unknown error" for a code that is none of these. From any
 * thread. */
inline const char *zqErrorText(zqError anError) noexcept
{
    switch (anError)
    {
#define ZQ_ERROR(aName, aCode, aText)                                                                                  \
    case aName:                                                                                                        \
        return aText;
        ZQ_ERRORS(ZQ_ERROR)
#undef ZQ_ERROR
    default:
        return "unknown error";
    }
}

#endif // ZQERROR_H
