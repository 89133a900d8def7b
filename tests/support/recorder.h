/**
 *  @file
 *    What a manager tells, as texts.
 */

#ifndef ZQ_TEST_RECORDER_H
#define ZQ_TEST_RECORDER_H

#include <zqnetworkmanager.h>

#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <waituntil.h>

#include "cfvalues.h"

namespace zq::Test
{

using namespace Mock;
using namespace NetworkManager;

using Lines = std::vector<std::string>;

/** The last segment of an object's path; "-" for null. */
std::string Name(const Object *anObject);
Lines       Names(const zqRefCountArray &anObjects);

/** With blanks between them. */
std::string Join(const Lines &aNames);

/**
 *  Turns every callback into one line: the callback's name, the objects' names,
 *  and the names of the properties, the error or the reason.
 */
class Recorder : public Observer::Base
{
public:
    using Services     = zqRefObjectArray<Service>;
    using Technologies = zqRefObjectArray<Technology>;

    /** @param[in]  aWithValues  Properties are told with their values: "State=ready". */
    explicit Recorder(bool aWithValues = false) : mWithValues(aWithValues) {}

    using Inside = std::function<void(Manager *aManager)>;

    /** A function that is called from within each callback from here on. */
    void SetInside(Inside anInside);

    Lines GetLines() const;
    void  Clear();

    /** The lines since the last time. */
    Lines Take();

    std::size_t Count(const std::string &aLine) const;

    /** False when no such line came in time. */
    bool WaitFor(const std::string &aLine, std::size_t aCount = 1) const;

    /** False when other lines came in time than these, in this order. */
    bool WaitForAll(const Lines &aLines) const;

    /** The index of the first line with all these words, at or after another index; -1 for none. */
    int  Find(const std::string &theWords, int aFrom = 0) const;
    bool WaitToFind(const std::string &theWords) const;

    void StateChanged(Manager *m, CFStringRef aState) override { Note(m, __func__, aState); }
    void PropertiesChanged(Manager *m, CFDictionaryRef aSet) override { Note(m, __func__, aSet); }
    void ServicesAdded(Manager *m, const Services &anArray) override { Note(m, __func__, anArray); }
    void ServicesRemoved(Manager *m, const Services &anArray) override { Note(m, __func__, anArray); }
    void ServiceChanged(Manager *m, Service *s, CFDictionaryRef aSet) override { Note(m, __func__, s, aSet); }
    void ServiceError(Manager *m, Service *s, CFStringRef aText) override { Note(m, __func__, s, aText); }
    void ServiceDidConnect(Manager *m, Service *s) override { Note(m, __func__, s); }
    void ServiceDidNotConnect(Manager *m, Service *s, zqError aCode) override { Note(m, __func__, s, aCode); }
    void ServiceIsOnline(Manager *m, Service *s) override { Note(m, __func__, s); }
    void ServiceIsNotOnline(Manager *m, Service *s, zqError aCode) override { Note(m, __func__, s, aCode); }
    void ServiceIsWaking(Manager *m, Service *s, unsigned char aWhy) override { Note(m, __func__, s, aWhy); }
    void ServiceDidWake(Manager *m, Service *s, unsigned char aWhy) override { Note(m, __func__, s, aWhy); }
    void ServiceDidNotWake(Manager *m, Service *s, zqError aCode) override { Note(m, __func__, s, aCode); }
    void TechnologiesAdded(Manager *m, const Technologies &anArray) override { Note(m, __func__, anArray); }
    void TechnologiesRemoved(Manager *m, const Technologies &anArray) override { Note(m, __func__, anArray); }
    void TechnologyChanged(Manager *m, Technology *t, CFDictionaryRef aSet) override { Note(m, __func__, t, aSet); }
    void TechnologyDidScan(Manager *m, Technology *t) override { Note(m, __func__, t); }
    void TechnologyDidNotScan(Manager *m, Technology *t, zqError aCode) override { Note(m, __func__, t, aCode); }
    void DidPrepareForSleep(Manager *m) override { Note(m, __func__); }
    void DidNotPrepareForSleep(Manager *m, zqError aCode) override { Note(m, __func__, aCode); }

    zqError ServiceInput(Manager *m, Service *s, CFDictionaryRef theFields) override
    {
        Note(m, __func__, s, theFields);
        return -99; // which is nothing to anybody
    }

private:
    // One argument of a callback, with a blank before it; nothing of an empty one.
    std::string        Part(CFDictionaryRef aProperties) const;
    static std::string Part(CFStringRef aString) { return " " + Text(aString); }
    static std::string Part(const Object *anObject) { return " " + Name(anObject); }
    static std::string Part(const zqRefCountArray &anObjects) { return Part(Names(anObjects)); }
    static std::string Part(const Lines &aNames) { return (aNames.empty() ? "" : " ") + Join(aNames); }
    static std::string Part(int aNumber) { return " " + std::to_string(aNumber); }

    template <typename... Arguments>
    void Note(Manager *aManager, const char *aName, const Arguments &...theArguments)
    {
        if (const Inside lInside = Append((std::string(aName) + ... + Part(theArguments))))
            lInside(aManager);
    }

    Inside Append(const std::string &aLine);

    const bool         mWithValues;
    mutable std::mutex mLock;
    Lines              mLines;
    Inside             mInside;
};

/** What events alone make of the model. */
struct Mirror : zqIEventHandler
{
    void HandleEvent(zqEvent *anEvent) override;

    std::set<Object *> mServices;
    std::string        mState, mStateProperty, mChange; // the last of each
};

} // namespace zq::Test

#endif // ZQ_TEST_RECORDER_H
