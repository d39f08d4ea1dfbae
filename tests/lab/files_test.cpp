#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "lab/device_root.h"
#include "lab/error.h"
#include "lab/input_file.h"
#include "lab/output_file.h"
#include "tests/support/directory.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

template <typename Work>
std::string error_of(Work work) {
    try {
        work();
    } catch (const lab::input_error& error) {
        return error.what();
    }
    return "";
}

TEST(DeviceRoot, IsEmptyWhereNothingIsAndCreatedWhenSaved) {
    const test::temporary_directory dir;
    lab::device_image image = lab::load_device_root(dir / "a/b");
    EXPECT_THAT(image.files, IsEmpty());
    EXPECT_THAT(image.properties, IsEmpty());
    EXPECT_EQ(dir.count_entries(), 0U);  // looking changes nothing

    image.files["/mnt/vendor/nvcfg/vorn/toc_clients"] = std::string("\0\xFF\n", 3);
    image.files["/data/vendor/vorn/empty"] = "";
    image.properties = {{"persist.x", "a=b"}, {"y", ""}};
    lab::save_device_root(dir / "a/b", image);
    EXPECT_EQ(dir.get("a/b/mnt/vendor/nvcfg/vorn/toc_clients"), std::string("\0\xFF\n", 3));
    EXPECT_EQ(dir.get("a/b/data/vendor/vorn/empty"), "");
    EXPECT_EQ(dir.get("a/b/properties"), "persist.x=a=b\ny=\n");

    const lab::device_image again = lab::load_device_root(dir / "a/b");
    EXPECT_EQ(again.files, image.files);
    EXPECT_EQ(again.properties, image.properties);
}

TEST(DeviceRoot, TakesOverChangesAndRemovesWhatIsGone) {
    const test::temporary_directory dir;
    dir.put("data/vendor/vorn/mock_batt_stress_offset", "5\n");
    dir.put("data/vendor/vorn/old", "longer than what follows");
    dir.put("data/vendor/vorn/sub/dir", "not the device's");
    dir.put("other", "not the device's");
    dir.put("properties", "a=1\n\nb=2");  // an empty line, no line end
    lab::device_image image = lab::load_device_root(dir.path());
    EXPECT_THAT(image.properties, ElementsAre(Pair("a", "1"), Pair("b", "2")));
    EXPECT_THAT(image.files, ElementsAre(Pair("/data/vendor/vorn/mock_batt_stress_offset", "5\n"),
                                         Pair("/data/vendor/vorn/old", "longer than what follows")));
    image.files.erase("/data/vendor/vorn/mock_batt_stress_offset");
    image.files["/data/vendor/vorn/old"] = "new";
    image.properties.erase("a");
    lab::save_device_root(dir.path(), image);
    EXPECT_EQ(dir.get("data/vendor/vorn/mock_batt_stress_offset"), "(missing)");
    EXPECT_EQ(dir.get("data/vendor/vorn/old"), "new");
    EXPECT_EQ(dir.get("data/vendor/vorn/sub/dir"), "not the device's");
    EXPECT_EQ(dir.get("other"), "not the device's");
    EXPECT_EQ(dir.get("properties"), "b=2\n");
}

TEST(DeviceRoot, NamesWhatCannotBeReadOrHasNoPlace) {
    const test::temporary_directory dir;
    const std::string file = dir.put("file", "");
    for (const std::string& root : {file, file + "/", file + "/not/there"})
        EXPECT_EQ(error_of([&] { lab::load_device_root(root); }), file + ": Not a directory");
    const std::string properties = dir.put("root/properties", "a=1\nnonsense\n");
    EXPECT_EQ(error_of([&] { lab::load_device_root(dir / "root"); }),
              properties + ":2:1: not a property (name=value): nonsense");
    dir.put("broken/data/vendor/vorn", "a file in place of the directory");
    EXPECT_EQ(error_of([&] { lab::load_device_root(dir / "broken"); }),
              dir / "broken/data/vendor/vorn: Not a directory");
    std::filesystem::create_directories(dir / "dangling/data/vendor/vorn");
    std::filesystem::create_symlink("nowhere", dir / "dangling/data/vendor/vorn/link");
    EXPECT_EQ(error_of([&] { lab::load_device_root(dir / "dangling"); }),
              dir / "dangling/data/vendor/vorn/link: No such file or directory");
}

// The last of the files cannot be written: none of them may change.
TEST(DeviceRoot, LeavesEverythingAsItWasWhenOneFileCannotBeWritten) {
    const test::temporary_directory dir;
    dir.put("data/vendor/vorn/a", "old");
    std::filesystem::create_directories(dir / "properties");
    lab::device_image image;
    image.files["/data/vendor/vorn/a"] = "new";
    image.files["/mnt/vendor/nvcfg/vorn/b"] = "new";
    EXPECT_EQ(error_of([&] { lab::save_device_root(dir.path(), image); }),
              dir / "properties: Is a directory");
    EXPECT_EQ(dir.get("data/vendor/vorn/a"), "old");
    EXPECT_EQ(dir.get("mnt/vendor/nvcfg/vorn/b"), "(missing)");
    EXPECT_THAT(lab::load_device_root(dir / "data").files, IsEmpty());  // no file aside is left either
}

TEST(OutputFile, AppearsWholeOrNotAtAll) {
    const test::temporary_directory dir;
    const std::string path = dir.put("out", "old");
    ::chmod(path.c_str(), 0640);
    {
        lab::output_file abandoned(path);
        abandoned.write(std::string(200000, 'x'));
        EXPECT_EQ(dir.get("out"), "old");
    }
    EXPECT_EQ(dir.get("out"), "old");
    EXPECT_EQ(dir.count_entries(), 1U);
    lab::output_file done(path);
    done.write("new");
    done.finish();
    EXPECT_EQ(dir.get("out"), "old");
    done.commit();
    EXPECT_EQ(dir.get("out"), "new");
    EXPECT_EQ(dir.count_entries(), 1U);
    struct stat about {};
    ASSERT_EQ(::stat(path.c_str(), &about), 0);
    EXPECT_EQ(about.st_mode & 0777U, 0640U);
    EXPECT_EQ(error_of([&] { lab::output_file bad(dir / "no/such/dir"); }),
              dir / "no/such/dir: No such file or directory");
    EXPECT_EQ(error_of([&] { lab::output_file bad(dir.path()); }), dir.path() + ": Is a directory");
}

TEST(OutputFile, FollowsLinksAndWritesToPipes) {
    const test::temporary_directory dir;
    dir.put("target", "old");
    std::filesystem::create_symlink("target", dir / "link");
    lab::output_file through(dir / "link");
    through.write("new");
    through.commit();
    EXPECT_TRUE(std::filesystem::is_symlink(dir / "link"));
    EXPECT_EQ(dir.get("target"), "new");

    const std::string pipe = dir / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    std::string received;
    std::thread reader([&] { received = lab::read_file(pipe); });
    {
        lab::output_file to_pipe(pipe);
        to_pipe.write("through the pipe");
        to_pipe.commit();
    }
    reader.join();
    EXPECT_EQ(received, "through the pipe");
    EXPECT_EQ(error_of([] {
                  lab::output_file full("/dev/full");
                  full.write("x");
                  full.finish();
              }),
              "/dev/full: No space left on device");
}

TEST(InputFile, ReadsAnyPlaceAlsoOfWhatOnlyFlows) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ASSERT_EQ(::write(ends[1], "0123456789", 10), 10);
    ::close(ends[1]);
    const auto file = lab::input_file::open("/dev/fd/" + std::to_string(ends[0]));
    ::close(ends[0]);
    char piece[4];
    ASSERT_EQ(file.read(6, piece, sizeof piece), 4U);
    EXPECT_EQ(std::string(piece, 4), "6789");
    ASSERT_EQ(file.read(0, piece, sizeof piece), 4U);
    EXPECT_EQ(std::string(piece, 4), "0123");
    EXPECT_EQ(file.read(10, piece, sizeof piece), 0U);
    EXPECT_EQ(file.size(), 10);
    const test::temporary_directory dir;
    EXPECT_EQ(error_of([&] { lab::input_file::open(dir / "none"); }),
              dir / "none: No such file or directory");
    EXPECT_EQ(error_of([&] { lab::read_file(dir.path()); }), dir.path() + ": Is a directory");
}

}  // namespace
