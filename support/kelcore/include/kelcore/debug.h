#pragma once

#include <map>
#include <mutex>

#include "kelcore/export.h"
#include "kelcore/string.h"
#include "kelcore/utility.h"

/// Settings for debugging, and the keys that exceptions carry.
namespace kelcore::debug {

/// @name Keys of the additional data of an exception
/// @{
inline constexpr utility::ImmutableString kDebugExpression{"expression"};   ///< which expression held; a text
inline constexpr utility::ImmutableString kDebugSourceFunction{"function"}; ///< its qualified name; a text
inline constexpr utility::ImmutableString kDebugSourceLine{"line"};         ///< a number
inline constexpr utility::ImmutableString kDebugSourceFile{"file"}; ///< the source file's path; a text
/// @}

/// Settings for debugging, empty until a host sets one. Any thread may call it, as late as from the
/// destructor of a global.
class KELCORE_EXPORT DebugDatabase {
public:
    /// The one database, made by the first call and never destroyed.
    static DebugDatabase& Instance();

    /// @return the text under the key, else the default.
    UTF8String GetEntry(const UTF8String& inKey, const UTF8String& inDefault) const;
    /// Puts a text under a key, in place of one that is there.
    void SetEntry(const UTF8String& inKey, const UTF8String& inText);
    /// Forgets the text under a key; nothing happens if there is none.
    void RemoveEntry(const UTF8String& inKey);

private:
    DebugDatabase() = default;

    mutable std::mutex mMutex;
    std::map<UTF8String, UTF8String> mEntries;
};

} // namespace kelcore::debug
