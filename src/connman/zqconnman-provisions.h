/**
 *  @file
 *    The provisioning file: its format, its lock and its storage, none of which
 *    calls another but that who stores it holds the lock.
 */

#ifndef ZQCONNMAN_PROVISIONS_H
#define ZQCONNMAN_PROVISIONS_H

#include "zqconnman-private.h"

#include <glib.h>

#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include <unistd.h>

namespace zq::ConnMan
{

constexpr const char *kProvisionsDirectory = "/var/lib/connman";
constexpr const char *kProvisionsPath      = "/var/lib/connman/quil.config";

/** Set an entry of a dictionary: one that found no room would be missing from the file. @retval 0, -7 */
zqError Put(CFMutableDictionaryRef aDictionary, const void *aKey, const void *aValue);

/** A text in the file's format, parsed: what its records say, and the very texts that say it. */
class ParsedProvisions
{
public:
    /** @retval 0, -7 */
    zqError Parse(const std::string &aText);

    /** True when it could not be parsed to its end: the records are those before the damage. */
    bool IsDamaged() const noexcept { return mIsDamaged; }

    /** The records as zqConnMan::GetProvisions yields them, lent. */
    CFDictionaryRef GetRecords() const noexcept { return mRecords.Get(); }

    struct FreeGLib
    {
        void operator()(GKeyFile *aFile) const { g_key_file_free(aFile); }
        void operator()(gchar **aTexts) const { g_strfreev(aTexts); }
        void operator()(gchar *aText) const { g_free(aText); }
    };

    template <typename T>
    using Held = std::unique_ptr<T, FreeGLib>;

    /** The keys of a group; null when there is none. */
    Held<gchar *> CopyKeys(const char *aGroup) const;

    /** The text of a key as it stands in the file; null when there is none. */
    Held<gchar> CopyText(const char *aGroup, const char *aKey) const;

private:
    zqError     ReadRecord(const char *aGroup, CFMutableDictionaryRef aRecords);
    zqError     ReadProperty(const char *aGroup, const char *aKey, CFMutableDictionaryRef aProperties);
    Held<gchar> ReadText(const char *aGroup, const char *aKey) const;

    Held<GKeyFile>                mFile;
    CFUSharedRef<CFDictionaryRef> mRecords;
    bool                          mIsDamaged = false;
};

/**
 *  The whole text of the file for a set of records.
 *
 *  @param[in]  aParsed  What the file says now; null: nothing of it matters.
 *                       With it, a property that has the value of the file
 *                       keeps the text of the file, as do a record's keys that
 *                       are no property of it.
 *
 *  @retval 0, -5 for what is no such set or would spoil the file, -7.
 */
zqError ComposeProvisions(CFDictionaryRef aProvisions, const ParsedProvisions *aParsed, std::string &aText);

/** A descriptor that closes itself. */
class Descriptor
{
public:
    explicit Descriptor(int aDescriptor = -1) noexcept : mDescriptor(aDescriptor) {}
    ~Descriptor() { Reset(); }
    Descriptor(const Descriptor &)            = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int  Get() const noexcept { return mDescriptor; }
    int  Leak() noexcept { return std::exchange(mDescriptor, -1); }
    bool IsOpen() const noexcept { return mDescriptor >= 0; }
    void Reset(int aDescriptor = -1) noexcept
    {
        if (IsOpen())
            (void)::close(mDescriptor);
        mDescriptor = aDescriptor;
    }

private:
    int mDescriptor;
};

/**
 *  The lock under which the file is read, composed and replaced.
 *
 *  It is on a file of its own, which the owner of the records alone can open.
 *  It excludes whoever else takes it, in this process or in another; those who
 *  wait have it before those who come; and a process that ends, or forks, with
 *  it leaves it to nobody.
 */
class ProvisionsLock
{
public:
    ProvisionsLock() noexcept = default;
    ~ProvisionsLock();
    ProvisionsLock(const ProvisionsLock &)            = delete;
    ProvisionsLock &operator=(const ProvisionsLock &) = delete;

    /** @param[in]  aTimeout  To wait at most, in milliseconds. @retval 0, -1, -16: logged */
    zqError Take(int aDirectory, int aTimeout);

private:
    bool Open(int aDirectory);
    void Close() noexcept;

    static void ForkBegins() noexcept;
    static void ForkEnds() noexcept;
    static void ForkEndsInChild() noexcept;

    Descriptor      mDescriptor;
    ProvisionsLock *mNext = nullptr;

    static std::mutex      sMutex; // of the chain and its descriptors
    static ProvisionsLock *sFirst; // all of the process
};

/** The text of the file; one that is missing has none. @retval 0, -1, -7, -19 */
zqError ReadProvisions(std::string &aText);

/** The stored file, held: nobody else changes it while this lives. */
class ProvisionsFile
{
public:
    /** @param[in]  aTimeout  To wait for another holder at most, in milliseconds. @retval 0, -1, -16: logged */
    zqError Open(int aTimeout);

    /** Whether it has this text already; if so it is narrowed to its owner. */
    bool Holds(const std::string &aText) const;

    /** Replace it. @param[in]  aKeepsOld  Whether the old one stays beside it. @retval 0, -1 */
    zqError Replace(const std::string &aText, unsigned long aCount, bool aKeepsOld);

    /** Remove what writing may have left beside it. @retval 0, -1 */
    zqError RemoveLeftovers();

private:
    Descriptor     mDirectory; // the files are relative to it: the directory may be replaced meanwhile
    ProvisionsLock mLock;
};

} // namespace zq::ConnMan

#endif // ZQCONNMAN_PROVISIONS_H
