/**
 *  @file
 *    Result codes shared by every library of the platform.
 */

#ifndef ZQERROR_H
#define ZQERROR_H

#include <cstdint>

/** 0 for success, a negative code otherwise. */
using zqError = std::int32_t;

enum : zqError
{
    zqError_None             = 0,
    zqError_Failed           = -1,  ///< general failure
    zqError_OutOfMemory      = -2,  ///< an object could not be allocated
    zqError_WrongState       = -3,  ///< wrong lifecycle state, or the daemon is not available
    zqError_Missing          = -4,  ///< a required value is missing
    zqError_InvalidArgument  = -5,  ///< null or invalid argument
    zqError_NoResources      = -7,  ///< an allocation or the creation of a lock failed
    zqError_BadReply         = -12, ///< a reply that is not what was asked for
    zqError_NotConfigured    = -15, ///< nothing was configured that could be acted on
    zqError_TimedOut         = -16,
    zqError_NotFound         = -17,
    zqError_AlreadyPresent   = -18,
    zqError_PermissionDenied = -19,
    zqError_Aborted          = -20,
    zqError_NotConnected     = -21, ///< no connected service
    zqError_Already          = -22, ///< already in the requested state
    zqError_InProgress       = -23,
    zqError_NotImplemented   = -26,
    zqError_NotSupported     = -27,
    zqError_NoRoute          = -113,  ///< no route to host
    zqError_ServiceUnknown   = -7000, ///< D-Bus: nobody owns the name
    zqError_NoReply          = -7001, ///< D-Bus: the peer went away or never replied
    zqError_UnknownMethod    = -7002, ///< D-Bus: the object has no such method
    zqError_UnknownObject    = -7003  ///< D-Bus: no such object
};

#endif // ZQERROR_H
