// symbol_table.h - what a library's file says of itself, read without loading it.
#ifndef LUMETRA_INSPECT_SYMBOL_TABLE_H
#define LUMETRA_INSPECT_SYMBOL_TABLE_H

#include <filesystem>
#include <set>
#include <string>
#include <vector>

struct SymbolTable {
    std::set<std::string> exported;   // functions and variables that others can find
    std::vector<std::string> unique;  // of those the ones that keep a library mapped for ever
    std::vector<std::string> neededLibraries;
    bool neverUnloads = false;  // linked with -z nodelete
    std::string stamp;          // the bytes of the build helper's note, as they are
};

/// @param fault  receives why the file is no library, and is left alone if it is one
SymbolTable readSymbolTable(const std::filesystem::path& file, std::string& fault);

#endif
