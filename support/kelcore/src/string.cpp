#include "kelcore/string.h"

namespace kelcore {

UTF8String string::ReplaceInString(const UTF8String& inFormat, const std::array<UTF8String, 10>& inStrings) {
    UTF8String result;
    for (std::size_t i = 0; i < inFormat.size(); ++i) {
        const bool hasNumber = i + 1 < inFormat.size() && inFormat[i + 1] >= '0' && inFormat[i + 1] <= '9';
        if (inFormat[i] == '@' && hasNumber)
            result += inStrings[inFormat[++i] - std::size_t{'0'}];
        else
            result += inFormat[i];
    }
    return result;
}

UTF8String utility::ConvertInt32ToBufferT(int inNumber) {
    return ToUTF8String(std::to_string(inNumber));
}

} // namespace kelcore
