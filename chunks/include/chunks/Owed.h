#pragma once

#include <optional>

namespace kelaudiofile::chunks {

/// A step of writing that must be completed before anything follows in the file: the header of a chunk that
/// was begun, or the size of one that was ended. A call that fails to complete it leaves it to the next one.
template <typename Step>
class Owed {
public:
    void Owe(const Step& inStep) { mStep = inStep; }
    bool IsOwed() const { return mStep.has_value(); }
    /// Abandons the step.
    void Forget() { mStep.reset(); }

    /// Calls a function with the step, if there is one. The step is then no longer owed,
    /// unless the function throws.
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
