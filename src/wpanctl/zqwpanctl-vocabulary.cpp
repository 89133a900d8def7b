/**
 *  @file
 *    The names of the daemon's properties, made once at load.
 */

#include <zqwpanctl.h>

#define ZQ_WPAN(aName, aText) const CFStringRef zqWPANCtl::aName = __CFStringMakeConstantString(aText);
#include <zqwpanctl-vocabulary.def>
