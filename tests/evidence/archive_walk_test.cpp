// What a hostile archive cannot go beyond, and that each limit says so.
#include "lab/evidence/archive_walk.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <zlib.h>

namespace {

using strings = std::vector<std::string>;

std::string gzipped(const std::string& content) {
    z_stream stream{};
    deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, MAX_WBITS + 16, 9, Z_DEFAULT_STRATEGY);
    std::string packed(deflateBound(&stream, content.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(content.data()));
    stream.avail_in = static_cast<uInt>(content.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

// One member of a tar archive (POSIX ustar).
std::string tarred(const std::string& name, const std::string& content) {
    std::string head(512, '\0');
    const auto put = [&](std::size_t at, const std::string& text) { head.replace(at, text.size(), text); };
    char size[12];
    std::snprintf(size, sizeof size, "%011zo", content.size());
    put(0, name);
    put(100, "0000644");
    put(124, size);
    put(148, "        ");
    put(156, "0");
    put(257, std::string("ustar\0"
                         "00",
                         8));
    unsigned sum = 0;
    for (const char each : head) sum += static_cast<unsigned char>(each);
    char text[8];
    std::snprintf(text, sizeof text, "%06o", sum);
    put(148, text);
    return head + content + std::string((512 - content.size() % 512) % 512, '\0');
}

class whole : public lab::byte_stream {
  public:
    explicit whole(std::string_view bytes) : rest_(bytes) {}
    std::size_t read(char* buffer, std::size_t size) override {
        const std::size_t count = std::min(size, rest_.size());
        std::copy_n(rest_.data(), count, buffer);
        rest_.remove_prefix(count);
        return count;
    }

  private:
    std::string_view rest_;
};

struct walked {
    strings names, troubles;
};
walked walk(const std::string& bytes, lab::walk_limits limits) {
    walked all;
    lab::archive_walk walker(
        [&](const std::string& name, lab::peeked_stream& content) {
            all.names.push_back(name);
            try {
                (void)lab::read_all(content, std::size_t{1} << 30);
            } catch (const lab::broken_stream& broken) {
                all.troubles.emplace_back(broken.what());
            }
        },
        [&](const std::string&, const std::string& why) { all.troubles.push_back(why); }, limits);
    whole stream(bytes);
    walker.walk_stream("in", stream);
    return all;
}

}  // namespace

TEST(ArchiveWalk, StopsAtEachLimitAndSaysSo) {
    const std::string three =
        tarred("a", "1") + tarred("b", "2") + tarred("c", "3") + std::string(1024, '\0');
    EXPECT_EQ(walk(three, {}).names, (strings{"in/a", "in/b", "in/c"}));
    EXPECT_EQ(walk(three, {.members = 2}).troubles, strings{"more than 2 members: the rest is not read"});
    EXPECT_EQ(walk(three, {.members = 2}).names, (strings{"in/a", "in/b"}));

    const std::string alike(40'000'000, 'x');
    EXPECT_EQ(walk(gzipped(alike), {}).troubles, strings{}) << "deflate alone does no harm";
    EXPECT_EQ(walk(gzipped(alike), {.bytes = 30'000'000}).troubles,
              strings{"unpacks to more than 30000000 bytes: the rest is not read"});
    EXPECT_EQ(walk(alike, {.bytes = 30'000'000}).troubles,
              strings{"larger than 30000000 bytes: the rest is not read"});
    EXPECT_EQ(walk(gzipped(gzipped(alike)), {}).troubles,
              strings{"unpacks to more than 1100 times its size: the rest is not read"});

    std::string deep = "text";
    for (int i = 0; i < 5; ++i) deep = tarred("t", deep) + std::string(1024, '\0');
    EXPECT_EQ(walk(deep, {}).troubles, strings{"archives within archives: too deep to be read"});
    EXPECT_EQ(walk(deep, {.depth = 5}).names, strings{"in/t/t/t/t/t"});
}
