// symbol_table.cpp - the dynamic part of an ELF file, through libelf.
#include "tools/lumetra-inspect/symbol_table.h"

#include <fcntl.h>
#include <gelf.h>
#include <link.h>
#include <unistd.h>

#include <LumetraCore/ModuleStamp.h>

#include <cerrno>
#include <cstring>

// This program's own, from the linker.
extern "C" const ElfW(Ehdr) __ehdr_start __attribute__((visibility("hidden")));

namespace {

class ElfFile {
public:
    ElfFile(const std::filesystem::path& file, std::string& fault)
        : m_descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC)) {
        elf_version(EV_CURRENT);
        if (m_descriptor < 0) {
            fault = std::strerror(errno);
            return;
        }
        m_elf = elf_begin(m_descriptor, ELF_C_READ, nullptr);
        GElf_Ehdr header;
        if (m_elf == nullptr || gelf_getehdr(m_elf, &header) == nullptr || header.e_type != ET_DYN)
            fault = "no shared library";
        else if (header.e_machine != __ehdr_start.e_machine ||
                 gelf_getclass(m_elf) != __ehdr_start.e_ident[EI_CLASS])
            fault = "a shared library for another machine";
    }
    ~ElfFile() {
        elf_end(m_elf);
        if (m_descriptor >= 0) close(m_descriptor);
    }
    ElfFile(const ElfFile&) = delete;
    ElfFile& operator=(const ElfFile&) = delete;

    Elf* get() const { return m_elf; }

private:
    int m_descriptor;
    Elf* m_elf = nullptr;
};

std::string textAt(Elf* elf, std::size_t section, std::size_t offset) {
    const char* const text = elf_strptr(elf, section, offset);
    return text == nullptr ? "" : text;
}

void readSymbols(Elf* elf, const GElf_Shdr& header, Elf_Data* data, SymbolTable& table) {
    GElf_Sym symbol;
    for (int k = 0; gelf_getsym(data, k, &symbol) != nullptr; ++k) {
        const int binding = GELF_ST_BIND(symbol.st_info);
        const int visibility = GELF_ST_VISIBILITY(symbol.st_other);
        if (symbol.st_shndx == SHN_UNDEF || binding == STB_LOCAL) continue;
        if (visibility != STV_DEFAULT && visibility != STV_PROTECTED) continue;
        const std::string name = textAt(elf, header.sh_link, symbol.st_name);
        table.exported.insert(name);
        if (binding == STB_GNU_UNIQUE) table.unique.push_back(name);
    }
}

void readDynamicEntries(Elf* elf, const GElf_Shdr& header, Elf_Data* data, SymbolTable& table) {
    GElf_Dyn entry;
    for (int k = 0; gelf_getdyn(data, k, &entry) != nullptr && entry.d_tag != DT_NULL; ++k) {
        if (entry.d_tag == DT_NEEDED)
            table.neededLibraries.push_back(textAt(elf, header.sh_link, entry.d_un.d_val));
        if (entry.d_tag == DT_FLAGS_1 && (entry.d_un.d_val & DF_1_NODELETE) != 0) table.neverUnloads = true;
    }
}

}  // namespace

SymbolTable readSymbolTable(const std::filesystem::path& file, std::string& fault) {
    SymbolTable table;
    std::string problem;
    const ElfFile elf(file, problem);
    if (!problem.empty()) {
        fault = problem;
        return table;
    }
    std::size_t names = 0;
    elf_getshdrstrndx(elf.get(), &names);
    for (Elf_Scn* section = nullptr; (section = elf_nextscn(elf.get(), section)) != nullptr;) {
        GElf_Shdr header;
        Elf_Data* const data = elf_getdata(section, nullptr);
        if (gelf_getshdr(section, &header) == nullptr || data == nullptr) continue;
        if (header.sh_type == SHT_DYNSYM) readSymbols(elf.get(), header, data, table);
        if (header.sh_type == SHT_DYNAMIC) readDynamicEntries(elf.get(), header, data, table);
        if (header.sh_type == SHT_NOTE && textAt(elf.get(), names, header.sh_name) == LUMETRA_STAMP_SECTION)
            table.stamp.assign(static_cast<const char*>(data->d_buf), data->d_size);
    }
    return table;
}
