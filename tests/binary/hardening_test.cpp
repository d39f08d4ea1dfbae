// The daemon as it was linked: what its file says of its defences, and all that it can ask of the system.

#include <algorithm>
#include <cstring>
#include <elf.h>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using names = std::set<std::string, std::less<>>;

class binary {
  public:
    explicit binary(const char* path) {
        std::ifstream file(path, std::ios::binary);
        std::ostringstream content;
        content << file.rdbuf();
        bytes_ = content.str();
        header_ = at<Elf64_Ehdr>(0, 1).at(0);
    }

    Elf64_Half type() const { return header_.e_type; }
    std::vector<Elf64_Phdr> segments() const { return at<Elf64_Phdr>(header_.e_phoff, header_.e_phnum); }

    // The value of a tag of the dynamic section; 0 when it has none.
    Elf64_Xword dynamic(Elf64_Sxword tag) const {
        for (const Elf64_Phdr& each : segments()) {
            if (each.p_type != PT_DYNAMIC) continue;
            for (const auto& entry : at<Elf64_Dyn>(each.p_offset, each.p_filesz / sizeof(Elf64_Dyn))) {
                if (entry.d_tag == tag) return entry.d_un.d_val;
            }
        }
        return 0;
    }

    // Every symbol, or the names that other libraries must bring.
    names symbols(bool only_imports) const {
        names found;
        const auto sections = at<Elf64_Shdr>(header_.e_shoff, header_.e_shnum);
        for (const Elf64_Shdr& each : sections) {
            if (each.sh_type != SHT_DYNSYM && (only_imports || each.sh_type != SHT_SYMTAB)) continue;
            const Elf64_Off texts = sections.at(each.sh_link).sh_offset;
            for (const auto& symbol : at<Elf64_Sym>(each.sh_offset, each.sh_size / sizeof(Elf64_Sym))) {
                const bool is_import =
                    symbol.st_shndx == SHN_UNDEF && ELF64_ST_BIND(symbol.st_info) == STB_GLOBAL;
                if (is_import || !only_imports) found.emplace(bytes_.data() + texts + symbol.st_name);
            }
        }
        return found;
    }

  private:
    template <typename T>
    std::vector<T> at(std::size_t offset, std::size_t count) const {
        std::vector<T> read(count);
        EXPECT_LE(offset + count * sizeof(T), bytes_.size());
        if (offset + count * sizeof(T) <= bytes_.size()) {
            std::memcpy(read.data(), bytes_.data() + offset, count * sizeof(T));
        }
        return read;
    }

    std::string bytes_;
    Elf64_Ehdr header_ = {};
};

TEST(hardening, memory_is_laid_out_to_resist) {
    const binary vorn(VORN_BINARY);
    EXPECT_EQ(vorn.type(), ET_DYN);
    EXPECT_TRUE((vorn.dynamic(DT_FLAGS_1) & DF_1_PIE) != 0);
    EXPECT_TRUE((vorn.dynamic(DT_FLAGS_1) & DF_1_NOW) !=
                0);  // with it, relocated data is read-only from the start
    EXPECT_EQ(vorn.dynamic(DT_TEXTREL), 0U);

    bool has_relro = false;
    bool has_stack = false;
    for (const Elf64_Phdr& each : vorn.segments()) {
        has_relro = has_relro || each.p_type == PT_GNU_RELRO;
        has_stack = has_stack || each.p_type == PT_GNU_STACK;
        const bool holds_data = each.p_type == PT_LOAD || each.p_type == PT_GNU_STACK;
        EXPECT_FALSE(holds_data && (each.p_flags & PF_W) != 0 && (each.p_flags & PF_X) != 0);
    }
    EXPECT_TRUE(has_relro);
    EXPECT_TRUE(has_stack);
}

TEST(hardening, overflows_are_noticed) {
    if (VORN_IS_SANITIZED) GTEST_SKIP() << "the sanitizers' own checks take the place of these";
    const names symbols = binary(VORN_BINARY).symbols(false);
    const auto has = [&](const std::string& prefix) {
        return std::any_of(symbols.begin(), symbols.end(),
                           [&](const auto& each) { return each.starts_with(prefix); });
    };
    EXPECT_TRUE(has("__stack_chk_fail"));
    EXPECT_TRUE(has("__vsnprintf_chk"));
    EXPECT_FALSE(has("_ZTI")) << "type information of a class";
}

// A daemon that polls needs no more than this. What it lacks counts: no timer or alarm that could wake a
// device, no wake lock (which takes an ioctl or a kept descriptor), no thread, no process, no network, no heap.
TEST(hardening, asks_the_system_for_little) {
    const names all_it_needs = {
        "open",     "read",          "write",   "close",    "access",      "rename",
        "unlink",   "mkdir",                                                          // files
        "sleep",    "clock_gettime", "time",    "difftime", "localtime_r", "mktime",  // time
        "snprintf", "vsnprintf",     "dprintf", "strtol",   "strcmp",      "strncmp",
        "strcspn",  "strlen",  // text
        "strnlen",  "memcpy",        "memset",  "memmove",  "exp",         "getpid"};
    const names start_and_checks = {"__libc_start_main", "__errno_location", "__stack_chk_fail",
                                    "__snprintf_chk",    "__vsnprintf_chk",  "__dprintf_chk"};
    const binary vorn(VORN_BINARY);
    if (VORN_IS_SANITIZED || vorn.dynamic(DT_NEEDED) == 0) GTEST_SKIP() << "brings more along than its own";
    for (const std::string& name : vorn.symbols(true)) {
        EXPECT_TRUE(all_it_needs.count(name) + start_and_checks.count(name) == 1) << name;
    }
}

}  // namespace
