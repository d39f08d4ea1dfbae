#include <gtest/gtest.h>
#include <sstream>

#include "lab/io/harmless_stream.h"
#include "lab/io/text.h"

namespace {

// An escape sequence, C1 as a character and as a byte, a name turned round, isolates, DEL; then what must stay.
const std::string HOSTILE =
    "\x1b]0;x\a \xC2\x9B"
    "31m \x9B \xE2\x80\xAEtxt \xE2\x81\xA6\xD8\x9C\x7F ok\t\xC2\xB0\xE2\x82\xAC\xF0\x9F\x94\x8B\n";
const std::string SHOWN = "?]0;x? ?31m \xEF\xBF\xBD ?txt ??? ok\t\xC2\xB0\xE2\x82\xAC\xF0\x9F\x94\x8B\n";

TEST(Harmless, ShowsWhatATerminalWouldObeyHoweverItIsCut) {
    EXPECT_EQ(lab::harmless(HOSTILE), SHOWN);
    for (std::size_t cut = 0; cut <= HOSTILE.size(); ++cut) {
        std::ostringstream out;
        {
            const lab::harmless_stream guard(out);
            out << HOSTILE.substr(0, cut) << std::flush << HOSTILE.substr(cut) << '\xE2';
        }
        out << '\x1b';  // the stream is as it was
        EXPECT_EQ(out.str(), SHOWN + "\xEF\xBF\xBD\x1b") << cut;
    }
}

}  // namespace
