#include "zqnetworkmanager-utilities-text.h"

#include <zqlog.h>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-utilities"

namespace zq::NetworkManager::Utilities
{

namespace
{

/** As strict as strings are: nothing overlong, no surrogates, nothing past U+10FFFF. */
bool IsUTF8(const char *aText)
{
    const auto *lByte = reinterpret_cast<const unsigned char *>(aText);

    while (*lByte != 0)
    {
        const unsigned int lFirst   = *lByte++;
        const int          lFurther = lFirst < 0x80 ? 0 : lFirst < 0xE0 ? 1 : lFirst < 0xF0 ? 2 : 3;
        unsigned int       lLow     = lFirst == 0xE0 ? 0xA0 : lFirst == 0xF0 ? 0x90 : 0x80;
        unsigned int       lHigh    = lFirst == 0xED ? 0x9F : lFirst == 0xF4 ? 0x8F : 0xBF;

        if ((lFirst >= 0x80 && lFirst < 0xC2) || lFirst > 0xF4)
            return false;
        for (int lIndex = 0; lIndex < lFurther; lIndex++, lByte++)
        {
            if (*lByte < lLow || *lByte > lHigh)
                return false;
            lLow  = 0x80;
            lHigh = 0xBF;
        }
    }
    return true;
}

} // namespace

zqError MakeText(const char *aText, zqString &aResult)
{
    aResult = zqString(aText);

    if (!aResult.IsEmpty() || *aText == '\0')
        return zqError_None;

    ZQ_REQUIRE(IsUTF8(aText), zqError_InvalidArgument);
    return zqError_OutOfMemory;
}

zqError MakeText(CFStringRef aText, zqString &aResult)
{
    aResult = zqString(aText);

    const bool isWhole = !aResult.IsEmpty() || CFStringGetLength(aText) == 0;

    ZQ_REQUIRE(isWhole, zqError_InvalidArgument);
    return zqError_None;
}

} // namespace zq::NetworkManager::Utilities
