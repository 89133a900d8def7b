/**
 *  @file
 *    A truth value that may not be known yet.
 */

#ifndef ZQTRIBOOL_H
#define ZQTRIBOOL_H

/** False, true or indeterminate; a new one is indeterminate. */
class zqTribool
{
public:
    constexpr zqTribool() noexcept = default;
    constexpr zqTribool(bool aValue) noexcept : mState(aValue ? State::True : State::False) {}

    constexpr bool IsIndeterminate() const noexcept { return mState == State::Indeterminate; }
    constexpr bool IsTrue() const noexcept { return mState == State::True; }
    constexpr bool IsFalse() const noexcept { return mState == State::False; }

    /** True when both are known and alike. */
    constexpr bool operator==(bool aValue) const noexcept { return aValue ? IsTrue() : IsFalse(); }
    constexpr bool operator!=(bool aValue) const noexcept { return !(*this == aValue); }

private:
    enum class State : unsigned char
    {
        Indeterminate,
        False,
        True
    };

    State mState = State::Indeterminate;
};

#endif // ZQTRIBOOL_H
