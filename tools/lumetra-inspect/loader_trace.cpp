// loader_trace.cpp - the loader in its listing mode, as ldd -r uses it.
#include "tools/lumetra-inspect/loader_trace.h"

#include <cxxabi.h>
#include <elf.h>
#include <link.h>
#include <sys/auxv.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <sstream>
#include <system_error>

namespace {

// The one that started this program.
std::string loaderPath() {
    const auto* header = reinterpret_cast<const ElfW(Phdr)*>(getauxval(AT_PHDR));
    const auto* const end = header + getauxval(AT_PHNUM);
    std::uintptr_t base = 0;
    for (const auto* each = header; each != end; ++each)
        if (each->p_type == PT_PHDR) base = reinterpret_cast<std::uintptr_t>(header) - each->p_vaddr;
    for (; header != end; ++header)
        if (header->p_type == PT_INTERP) return reinterpret_cast<const char*>(base + header->p_vaddr);
    throw std::runtime_error("this program has no loader of its own");
}

[[noreturn]] void becomeLoader(const std::string& loader, const std::string& file, int output) {
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    setenv("LD_TRACE_LOADED_OBJECTS", "1", 1);
    setenv("LD_WARN", "yes", 1);
    setenv("LD_BIND_NOW", "yes", 1);
    execl(loader.c_str(), loader.c_str(), file.c_str(), static_cast<char*>(nullptr));
    _exit(127);
}

std::string outputOfLoader(const std::filesystem::path& file) {
    const std::string loader = loaderPath();
    const std::unique_ptr<FILE, int (*)(FILE*)> output(std::tmpfile(), &std::fclose);
    if (output == nullptr) throw std::system_error(errno, std::generic_category(), "temporary file");
    const pid_t child = fork();
    if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0) becomeLoader(loader, file.string(), fileno(output.get()));
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    std::rewind(output.get());
    std::string text;
    char part[4096];
    for (std::size_t count; (count = std::fread(part, 1, sizeof part, output.get())) > 0;)
        text.append(part, count);
    return text;
}

std::string firstWord(const std::string& text) {
    std::string word;
    std::istringstream(text) >> word;
    return word;
}

}  // namespace

std::string demangled(const std::string& symbol) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status), &std::free);
    return name != nullptr ? name.get() : symbol;
}

std::string joined(const std::vector<std::string>& words, const char* between) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
    return text;
}

LoaderTrace traceLoader(const std::filesystem::path& file) {
    const std::string MISSING = "=> not found", UNDEFINED = "undefined symbol: ";
    std::set<std::string> libraries, symbols;
    std::istringstream lines(outputOfLoader(file));
    for (std::string line; std::getline(lines, line);) {
        const std::size_t undefined = line.find(UNDEFINED);
        if (undefined != std::string::npos)
            symbols.insert(demangled(firstWord(line.substr(undefined + UNDEFINED.size()))));
        else if (line.find(MISSING) != std::string::npos)
            libraries.insert(firstWord(line));
    }
    return {{libraries.begin(), libraries.end()}, {symbols.begin(), symbols.end()}};
}
