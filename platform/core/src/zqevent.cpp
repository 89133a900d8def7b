/**
 *  @file
 *    The base of every event, and of what receives one.
 */

#include <zqevent.h>

zqEvent::~zqEvent() = default;

zqError zqEvent::Init(unsigned int aType, unsigned int aFlags) noexcept
{
    mType  = aType;
    mFlags = aFlags;
    return zqError_None;
}

zqIEventHandler::~zqIEventHandler() = default;
