/**
 *  @file
 *    The two booleans.
 */

#include "cfruntime.h"

using namespace cf;

struct __CFBoolean : cf::Base
{
    using Base::Base;
};

namespace
{

const __CFBoolean kTrue(kTypeBoolean, kFlagImmortal, 1);
const __CFBoolean kFalse(kTypeBoolean, kFlagImmortal, 0);

} // namespace

const CFBooleanRef kCFBooleanTrue  = &kTrue;
const CFBooleanRef kCFBooleanFalse = &kFalse;

CFTypeID CFBooleanGetTypeID(void)
{
    return kTypeBoolean;
}

Boolean CFBooleanGetValue(CFBooleanRef aBoolean)
{
    return aBoolean == kCFBooleanTrue;
}
