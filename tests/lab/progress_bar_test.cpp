#include "lab/cli/progress_bar.h"

#include <gtest/gtest.h>

// On a terminal narrower than the bar it left a line behind at every step.
TEST(ProgressBar, FitsTheTerminal) {
    using lab::bar_text;
    EXPECT_EQ(bar_text(0.5, 19), "[#####     ] 50 %");
    for (std::size_t columns = 0; columns < 200; ++columns) {
        for (const double share : {-1.0, 0.0, 0.999, 1.0, 2.0})
            EXPECT_LE(bar_text(share, columns).size(), columns == 0 ? 0 : columns - 1) << columns;
    }
    EXPECT_EQ(bar_text(1, 10), "100 %");
    EXPECT_EQ(bar_text(0.07, 12), "7 %");
    EXPECT_EQ(bar_text(0.07, 3), "");
}
