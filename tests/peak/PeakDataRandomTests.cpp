#include <gtest/gtest.h>

#include "PeakEditor.h"
#include "support/Random.h"

using namespace testing_support;

TEST(PeakDataModel, RandomEditsAgreeWithAListOfBlocks) {
    for (std::uint64_t seed = 0; seed < 100; ++seed) {
        Random random(seed);
        const auto choose = [&random](std::uint32_t inLimit) { return random.Below(inLimit); };
        PeakEditor editor(choose);
        for (int step = 0; step < 1000; ++step) {
            const std::string edit = editor.Step();
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", step " << step << ": " << edit);
            ASSERT_EQ(editor.Compare(), "");
            ASSERT_EQ(editor.CompareResampling(), "");
            if (step % 8 == 0) {
                ASSERT_EQ(editor.CompareQueries(), "");
            }
        }
    }
}
