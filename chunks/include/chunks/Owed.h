#pragma once

#include <optional>

namespace kelaudiofile::chunks {

/// A step of writing that must be done before anything follows in the file: the header of a chunk that was
/// begun, or the size of one that was ended. A call that cannot do it leaves it owed to the next one.
template <typename Step>
class Owed {
public:
    void Owe(const Step& inStep) { mStep = inStep; }
    bool IsOwed() const { return mStep.has_value(); }
    /// Gives the step up.
    void Forget() { mStep.reset(); }

    /// Calls a function with the step if there is one, which is owed no more unless the function throws.
    template <typename Function>
    void Settle(Function&& inFunction) {
        if (!mStep)
            return;
        inFunction(*mStep);
        mStep.reset();
    }

private:
    std::optional<Step> mStep;
};

} // namespace kelaudiofile::chunks
