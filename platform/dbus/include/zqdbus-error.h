/**
 *  @file
 *    Errors of the bus library.
 */

#ifndef ZQDBUS_ERROR_H
#define ZQDBUS_ERROR_H

#include <zqexport.h>

#include <dbus/dbus.h>

/** A DBusError that frees itself. */
class ZQ_EXPORT zqDBusError
{
public:
    zqDBusError() noexcept { dbus_error_init(&mError); }
    ~zqDBusError() { dbus_error_free(&mError); }
    zqDBusError(const zqDBusError &)            = delete;
    zqDBusError &operator=(const zqDBusError &) = delete;

    /** For functions that fill in or read an error, lent. */
    DBusError *Get() noexcept { return &mError; }

    bool IsSet() const noexcept { return dbus_error_is_set(&mError) != 0; }

    /** Null when the error is not set. */
    const char *GetName() const noexcept { return mError.name; }
    const char *GetMessage() const noexcept { return mError.message; }

private:
    DBusError mError;
};

#endif // ZQDBUS_ERROR_H
