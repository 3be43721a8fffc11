#include "apps/tamble/plugin.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <elf.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <vector>

#include "apps/tamble/failure.h"

namespace tamble::cli {
namespace {

namespace fs = std::filesystem;

std::string besideExecutable() {
  std::error_code error;
  const fs::path self = fs::read_symlink("/proc/self/exe", error);
  if (error) return {};
  return (self.parent_path() / "libtamble.so").string();
}

// "tamble::roi_is_set(zel::imagesList const&)" -> "roi_is_set"
std::string plainName(const char* symbol) {
  int status = 0;
  char* text = abi::__cxa_demangle(symbol, nullptr, nullptr, &status);
  std::string name = status == 0 && text ? text : symbol;
  std::free(text);
  name = name.substr(0, name.find('('));
  const std::size_t colons = name.rfind("::");
  return colons == std::string::npos ? name : name.substr(colons + 2);
}

template <class T>
std::optional<T> readAt(const std::vector<char>& bytes, std::uint64_t offset) {
  if (offset > bytes.size() || bytes.size() - offset < sizeof(T)) return std::nullopt;
  T value;
  std::memcpy(&value, bytes.data() + offset, sizeof(T));
  return value;
}

std::optional<std::string> nameInTable(const std::vector<char>& bytes, const Elf64_Shdr& symbols,
                                       const Elf64_Shdr& strings, std::uint64_t offset) {
  for (std::uint64_t at = 0; at + sizeof(Elf64_Sym) <= symbols.sh_size; at += sizeof(Elf64_Sym)) {
    const auto sym = readAt<Elf64_Sym>(bytes, symbols.sh_offset + at);
    if (!sym) return std::nullopt;
    if (ELF64_ST_TYPE(sym->st_info) != STT_FUNC || sym->st_value != offset) continue;
    if (sym->st_name >= strings.sh_size) return std::nullopt;
    const std::uint64_t start = strings.sh_offset + sym->st_name;
    if (start >= bytes.size()) return std::nullopt;
    return std::string(bytes.data() + start, strnlen(bytes.data() + start, bytes.size() - start));
  }
  return std::nullopt;
}

// The local function at `offset` from the library's base, from the symbol
// table the linker left in the file.
std::optional<std::string> symbolTableName(const std::string& file, std::uint64_t offset) {
  std::ifstream in(file, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
  const auto header = readAt<Elf64_Ehdr>(bytes, 0);
  if (!header || std::memcmp(header->e_ident, ELFMAG, SELFMAG) != 0 ||
      header->e_ident[EI_CLASS] != ELFCLASS64)
    return std::nullopt;
  for (std::uint16_t i = 0; i < header->e_shnum; ++i) {
    const auto section = readAt<Elf64_Shdr>(bytes, header->e_shoff + i * header->e_shentsize);
    if (!section || section->sh_type != SHT_SYMTAB) continue;
    const auto strings =
        readAt<Elf64_Shdr>(bytes, header->e_shoff + section->sh_link * header->e_shentsize);
    if (strings) return nameInTable(bytes, *section, *strings, offset);
  }
  return std::nullopt;
}

}  // namespace

std::string loadedPlugin::defaultPath() {
  if (const char* path = std::getenv("TAMBLE_PLUGIN"); path && *path) return path;
  if (fs::exists(TAMBLE_PLUGIN_PATH)) return TAMBLE_PLUGIN_PATH;
  const std::string beside = besideExecutable();
  return fs::exists(beside) ? beside : std::string(TAMBLE_PLUGIN_PATH);
}

loadedPlugin::loadedPlugin(const std::string& path) {
  void* library = dlopen(path.c_str(), RTLD_NOW);
  if (!library) throw stepError(std::string("cannot load the plug-in: ") + dlerror());
  auto entry = reinterpret_cast<GetInfo2DAPI_t>(dlsym(library, "GetInfo2DAPI"));
  if (!entry) throw stepError(path + " is not a plug-in: it has no GetInfo2DAPI");
  table = entry();
  if (!table) throw stepError(path + " gave no command table");
  naming = std::make_unique<commandNames>(table->commands);
}

std::string functionName(const void* address) {
  Dl_info where{};
  if (!dladdr(address, &where)) return {};
  if (where.dli_sname && where.dli_saddr == address) return plainName(where.dli_sname);
  if (!where.dli_fname || !where.dli_fbase) return {};
  const auto offset =
      reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(where.dli_fbase);
  const auto symbol = symbolTableName(where.dli_fname, offset);
  return symbol ? plainName(symbol->c_str()) : std::string();
}

std::string testName(const plg2dapiFormatInfo& row) {
  const std::string name = functionName(reinterpret_cast<const void*>(row.enabled));
  return name.empty() ? "its availability test says no" : name;
}

}  // namespace tamble::cli
