#include "kelcore/debug.h"

namespace kelcore::debug {

DebugDatabase& DebugDatabase::Instance() {
    static DebugDatabase database;
    return database;
}

UTF8String DebugDatabase::GetEntry(const UTF8String& inKey, const UTF8String& inDefault) const {
    const std::lock_guard lock(mMutex);
    const auto entry = mEntries.find(inKey);
    return entry == mEntries.end() ? inDefault : entry->second;
}

void DebugDatabase::SetEntry(const UTF8String& inKey, const UTF8String& inText) {
    const std::lock_guard lock(mMutex);
    mEntries[inKey] = inText;
}

void DebugDatabase::RemoveEntry(const UTF8String& inKey) {
    const std::lock_guard lock(mMutex);
    mEntries.erase(inKey);
}

} // namespace kelcore::debug
