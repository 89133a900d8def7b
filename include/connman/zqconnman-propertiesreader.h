/**
 *  @file
 *    The properties of many objects of the daemon.
 */

#ifndef ZQCONNMAN_PROPERTIESREADER_H
#define ZQCONNMAN_PROPERTIESREADER_H

#include <zqconnman.h>

#include <memory>

/**
 *  The properties of many objects, of which several are asked for at a time.
 *  The daemon is asked in the order of the paths, and what it answers is
 *  taken in that order; what was not taken in the end is of no interest. On
 *  the thread of the client, which has to outlive it.
 */
class ZQ_EXPORT zqConnMan::PropertiesReader
{
public:
    enum Kind
    {
        kServices,
        kTechnologies
    };

    /** @param[in]  aPaths  Of the objects; retained, and not to be changed meanwhile. */
    PropertiesReader(zqConnMan &aConnMan, Kind aKind, CFArrayRef aPaths) noexcept;
    ~PropertiesReader();
    PropertiesReader(const PropertiesReader &)            = delete;
    PropertiesReader &operator=(const PropertiesReader &) = delete;

    /** What ServiceGetProperties or TechnologyGetProperties yields for the next path; -17 after the last. */
    zqError Next(CFDictionaryRef &aProperties);

private:
    struct Sent;

    CFStringRef GetPath(CFIndex anIndex) const;
    void        SendAhead();
    zqError     Send(CFStringRef aPath, Sent &aSent);
    void        ShareCached(CFStringRef aPath, CFDictionaryRef aProperties) const;

    zqConnMan                     &mConnMan;
    const Kind                     mKind;
    const CFUSharedRef<CFArrayRef> mPaths;
    CFIndex                        mNumTaken = 0;
    CFIndex                        mNumSent  = 0;
    std::unique_ptr<Sent[]>        mSent;
};

#endif // ZQCONNMAN_PROPERTIESREADER_H
