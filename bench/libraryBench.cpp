// What does a program pay for linking the library: bytes on disk, relocations, time to load?
//
// Sizes and relocations are read from the built shared object itself. The stripped size is that of what
// stays: everything that is loaded, ".comment", and the section headers with their names. The tables
// of the schema are the symbols of schemaTables.cpp; each of their relocations is a word that every
// process writes at start. Loading is dlopen() in a fresh child that has all libraries that ours needs
// loaded before; the peer is an empty shared object.
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

namespace {

constexpr int kRounds = 101;
constexpr double kWantedMegabytes = 2.5;
constexpr size_t kWantedRelocations = 16; /* the one struct that says where the tables are */
constexpr double kWantedMoreMs = 0.3;

using Section = ElfW(Shdr);
using Symbol = ElfW(Sym);
using Relocation = ElfW(Rela);

/* A shared object as it lies on disk. */
class Library {
public:
    explicit Library(const char *path) {
        std::ifstream file(path, std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(file), {});
        if (bytes.size() < sizeof(ElfW(Ehdr)) || memcmp(bytes.data(), ELFMAG, SELFMAG) != 0) {
            fmt::print(stderr, "libraryBench: {} is no shared object\n", path);
            exit(1);
        }
        const auto *head = reinterpret_cast<const ElfW(Ehdr) *>(bytes.data());
        sections = {reinterpret_cast<const Section *>(bytes.data() + head->e_shoff), head->e_shnum};
        names = bytes.data() + sections[head->e_shstrndx].sh_offset;
    }

    std::string_view Name(const Section &section) const { return names + section.sh_name; }

    template <class Row> std::span<const Row> Rows(const Section &section) const {
        return {reinterpret_cast<const Row *>(bytes.data() + section.sh_offset),
                section.sh_size / sizeof(Row)};
    }
    /* A text of the string table that belongs to a table of symbols, or of needed libraries. */
    const char *Text(const Section &table, size_t offset) const {
        return bytes.data() + sections[table.sh_link].sh_offset + offset;
    }

    std::span<const Section> sections;

private:
    std::vector<char> bytes;
    const char *names;
};

size_t StrippedSize(const Library &library) {
    size_t loaded = 0;
    size_t rest = 0;
    for (const Section &section : library.sections) {
        const bool isLoaded = section.sh_flags & SHF_ALLOC;
        const bool isKept = isLoaded || library.Name(section) == ".comment" ||
                            library.Name(section) == ".shstrtab" || section.sh_type == SHT_NULL;
        if (!isKept)
            continue;
        rest += sizeof(Section);
        if (isLoaded && section.sh_type != SHT_NOBITS)
            loaded = std::max<size_t>(loaded, section.sh_offset + section.sh_size);
        else if (library.Name(section) == ".comment")
            rest += section.sh_size;
        rest += library.Name(section).size() + 1;
    }
    return loaded + rest;
}

struct Range {
    ElfW(Addr) from, to;
};

/* Where the tables lie: the objects that the symbols of schemaTables.cpp name. */
std::vector<Range> TableRanges(const Library &library) {
    std::vector<Range> ranges;
    for (const Section &section : library.sections) {
        if (section.sh_type != SHT_SYMTAB)
            continue;
        bool isInFile = false;
        for (const Symbol &symbol : library.Rows<Symbol>(section)) {
            const char *name = library.Text(section, symbol.st_name);
            const int type = ELF64_ST_TYPE(symbol.st_info);
            if (type == STT_FILE)
                isInFile = strcmp(name, "schemaTables.cpp") == 0;
            else if (type == STT_OBJECT && (isInFile || strcmp(name, "kSchemaTables") == 0))
                ranges.push_back({symbol.st_value, symbol.st_value + symbol.st_size});
        }
    }
    return ranges;
}

struct Relocations {
    size_t all = 0;
    size_t ofTables = 0;
};

Relocations CountRelocations(const Library &library, const std::vector<Range> &tables) {
    Relocations count;
    for (const Section &section : library.sections) {
        if (section.sh_type != SHT_RELA)
            continue;
        for (const Relocation &relocation : library.Rows<Relocation>(section)) {
            count.all++;
            count.ofTables += std::ranges::any_of(tables, [&](const Range &range) {
                return range.from <= relocation.r_offset && relocation.r_offset < range.to;
            });
        }
    }
    return count;
}

/* Loads what the library needs, so that its own loading is what is measured. */
void LoadNeeded(const Library &library) {
    for (const Section &section : library.sections) {
        if (section.sh_type != SHT_DYNAMIC)
            continue;
        for (const auto &entry : library.Rows<ElfW(Dyn)>(section)) {
            if (entry.d_tag == DT_NEEDED)
                dlopen(library.Text(section, entry.d_un.d_val), RTLD_NOW);
        }
    }
}

double NowMs() {
    timespec now = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

/* The processor time of a dlopen() in a child. */
double LoadMs(const char *path) {
    int ends[2];
    if (pipe(ends) != 0)
        abort();
    const pid_t child = fork();
    if (child == 0) {
        const double start = NowMs();
        const bool isLoaded = dlopen(path, RTLD_NOW | RTLD_LOCAL) != nullptr;
        const double ms = NowMs() - start;
        _exit(isLoaded && write(ends[1], &ms, sizeof ms) == sizeof ms ? 0 : 1);
    }
    close(ends[1]);
    double ms = 0;
    const bool isRead = child > 0 && read(ends[0], &ms, sizeof ms) == sizeof ms;
    close(ends[0]);
    if (!isRead || waitpid(child, nullptr, 0) != child)
        abort();
    return ms;
}

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

void Print(const char *what, const std::string &figure, const std::string &wanted, bool isMet) {
    fmt::print("{:<14} {:<58} {}   wanted {}   {}\n", "library", what, figure, wanted,
               isMet ? "ok" : "ABOVE");
}

} // namespace

int main() {
    const Library library(ORVANE_LIBRARY);
    const double megabytes = static_cast<double>(StrippedSize(library)) / 1e6;
    Print("stripped", fmt::format("{:.2f} MB", megabytes), fmt::format("{:.2f}", kWantedMegabytes),
          megabytes <= kWantedMegabytes);

    const std::vector<Range> tables = TableRanges(library);
    if (tables.empty()) {
        fmt::print(stderr, "libraryBench: no symbols of the tables in " ORVANE_LIBRARY "\n");
        return 1;
    }
    const Relocations relocations = CountRelocations(library, tables);
    Print("relocations of the schema's tables",
          fmt::format("{} of {}", relocations.ofTables, relocations.all),
          fmt::format("{}", kWantedRelocations), relocations.ofTables <= kWantedRelocations);

    LoadNeeded(library);
    std::vector<double> ours;
    std::vector<double> peers;
    for (int i = 0; i < kRounds; i++) {
        ours.push_back(LoadMs(ORVANE_LIBRARY));
        peers.push_back(LoadMs(EMPTY_LIBRARY));
    }
    const double more = Median(ours) - Median(peers);
    Print("loading, more than an empty shared object",
          fmt::format("ours {:.2f} ms   peer {:.2f} ms   {:.2f} ms", Median(ours), Median(peers),
                      more),
          fmt::format("{:.2f}", kWantedMoreMs), more <= kWantedMoreMs);
    return 0;
}
