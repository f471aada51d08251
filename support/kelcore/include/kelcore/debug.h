#pragma once

#include <map>
#include <mutex>

#include "kelcore/export.h"
#include "kelcore/string.h"
#include "kelcore/utility.h"

/// Debug settings, and the keys of the additional data of exceptions.
namespace kelcore::debug {

/// @addtogroup support
/// @{

/// @name Keys of the additional data of an exception
/// @{
inline constexpr utility::ImmutableString kDebugExpression{"expression"}; ///< the condition that failed: text
inline constexpr utility::ImmutableString kDebugSourceFunction{"function"}; ///< its qualified name: text
inline constexpr utility::ImmutableString kDebugSourceLine{"line"};         ///< a number
inline constexpr utility::ImmutableString kDebugSourceFile{"file"}; ///< the path of the source file: text
/// @}

/// Debug settings, empty until a host sets one. Any thread may use it, even from the destructor of a global.
class KELCORE_EXPORT DebugDatabase {
public:
    /// Returns the only database, which is created by the first call and never destroyed.
    static DebugDatabase& Instance();

    /// Returns the text of the key, or the default if there is none.
    UTF8String GetEntry(const UTF8String& inKey, const UTF8String& inDefault) const;
    /// Sets the text of a key, replacing an earlier one.
    void SetEntry(const UTF8String& inKey, const UTF8String& inText);
    /// Removes a key; has no effect if it is not set.
    void RemoveEntry(const UTF8String& inKey);

private:
    DebugDatabase() = default;

    mutable std::mutex mMutex;
    std::map<UTF8String, UTF8String> mEntries;
};

/// @}

} // namespace kelcore::debug
