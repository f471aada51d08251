#include "kelcore/debug.h"

#include <new>

namespace kelcore::debug {

// Never destroyed: destructors of globals and threads that outlive main may still use it. It is in static
// memory, so leak checkers find what it owns.
DebugDatabase& DebugDatabase::Instance() {
    alignas(DebugDatabase) static unsigned char memory[sizeof(DebugDatabase)];
    static DebugDatabase& database = *new (memory) DebugDatabase;
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
