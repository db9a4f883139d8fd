#ifndef VHDX_PARSER_TESTS_WINDOWS_LOADED_LIBRARY_H
#define VHDX_PARSER_TESTS_WINDOWS_LOADED_LIBRARY_H

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace NTest {

/// A DLL that `LoadLibrary` brought into the process; released at the end.
class CLoadedLibrary {
public:
    explicit CLoadedLibrary(const char* name) : m_module(LoadLibraryA(name)) {}
    ~CLoadedLibrary() {
        if (m_module != nullptr) {
            FreeLibrary(m_module);
        }
    }
    CLoadedLibrary(const CLoadedLibrary&) = delete;
    CLoadedLibrary& operator=(const CLoadedLibrary&) = delete;

    explicit operator bool() const { return m_module != nullptr; }

    /// The address of an exported name; null when there is none.
    template <class T>
    T* Find(const char* name) const {
        const auto address = reinterpret_cast<std::uintptr_t>(GetProcAddress(m_module, name));
        return reinterpret_cast<T*>(address);
    }

    /// Every exported name, as the export table of the loaded module holds them.
    std::vector<std::string> ExportedNames() const {
        std::vector<std::string> names;
        const auto& directory =
            Headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
        const auto* table = At<IMAGE_EXPORT_DIRECTORY>(directory.VirtualAddress);
        const auto* positions = At<DWORD>(table->AddressOfNames);
        for (DWORD i = 0; i < table->NumberOfNames; ++i) {
            names.emplace_back(At<char>(positions[i]));
        }
        return names;
    }

    /// The names of the DLLs that have to be there for this one to load.
    std::vector<std::string> NeededLibraries() const {
        std::vector<std::string> names;
        const auto& directory =
            Headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        const auto* entry = At<IMAGE_IMPORT_DESCRIPTOR>(directory.VirtualAddress);
        for (; entry->Name != 0; ++entry) {
            names.emplace_back(At<char>(entry->Name));
        }
        return names;
    }

private:
    template <class T>
    const T* At(std::size_t offset) const {
        return reinterpret_cast<const T*>(reinterpret_cast<const char*>(m_module) + offset);
    }

    const IMAGE_NT_HEADERS& Headers() const {
        const auto position = static_cast<std::size_t>(At<IMAGE_DOS_HEADER>(0)->e_lfanew);
        return *At<IMAGE_NT_HEADERS>(position);
    }

    HMODULE m_module;
};

}  // namespace NTest

#endif
