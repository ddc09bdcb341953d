#include "support/SectionWatch.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <vector>

namespace tovix::test {
namespace {

/// The names of the functions in one section of a module's file, by their distance from the section's start.
std::map<std::size_t, std::string> functionsOf(const std::filesystem::path& file, int section) {
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    const auto* const pDos = reinterpret_cast<const IMAGE_DOS_HEADER*>(bytes.data());
    const auto& headers = *reinterpret_cast<const IMAGE_NT_HEADERS64*>(bytes.data() + pDos->e_lfanew);
    const char* const pTable = bytes.data() + headers.FileHeader.PointerToSymbolTable;
    const DWORD count = headers.FileHeader.NumberOfSymbols;
    const char* const pLongNames = pTable + std::size_t{count} * IMAGE_SIZEOF_SYMBOL;
    std::map<std::size_t, std::string> functions;
    for (DWORD i = 0; i < count; ++i) {
        IMAGE_SYMBOL symbol{};
        std::memcpy(&symbol, pTable + std::size_t{i} * IMAGE_SIZEOF_SYMBOL, IMAGE_SIZEOF_SYMBOL);
        constexpr WORD functionType = 0x20;
        if (symbol.SectionNumber == section && symbol.Type == functionType) {
            const auto* const pShort = reinterpret_cast<const char*>(symbol.N.ShortName);
            functions[symbol.Value] = symbol.N.Name.Short != 0 ? std::string(pShort, ::strnlen(pShort, 8))
                                                               : std::string(pLongNames + symbol.N.Name.Long);
        }
        i += symbol.NumberOfAuxSymbols;
    }
    return functions;
}

} // namespace

SectionWatch* SectionWatch::pInstance = nullptr;

void SectionWatch::Section::allow(bool execute) const {
    DWORD before = 0;
    ::VirtualProtect(pStart, bytes, execute ? PAGE_EXECUTE_READ : PAGE_READONLY, &before);
}

SectionWatch::Section SectionWatch::find(HMODULE hModule, const char* name) const {
    auto* const pBase = reinterpret_cast<BYTE*>(hModule);
    const auto* const pDos = reinterpret_cast<const IMAGE_DOS_HEADER*>(pBase);
    const auto* const pHeaders = reinterpret_cast<const IMAGE_NT_HEADERS64*>(pBase + pDos->e_lfanew);
    const auto* const pSections = reinterpret_cast<const IMAGE_SECTION_HEADER*>(pHeaders + 1);
    for (int i = 0; i < pHeaders->FileHeader.NumberOfSections; ++i) {
        if (std::strncmp(reinterpret_cast<const char*>(pSections[i].Name), name, IMAGE_SIZEOF_SHORT_NAME) == 0) {
            return {pBase + pSections[i].VirtualAddress, pSections[i].Misc.VirtualSize, i + 1};
        }
    }
    return {};
}

SectionWatch::SectionWatch(HMODULE hModule, std::filesystem::path file)
    : m_file(std::move(file)), m_ordinary(find(hModule, ".text")), m_realtime(find(hModule, "RT_CODE")),
      m_pHandler(::AddVectoredExceptionHandler(1, &onException)) {
    pInstance = this;
}

void SectionWatch::rest() {
    m_ordinary.allow(true);
    m_realtime.allow(true);
}

SectionWatch::~SectionWatch() {
    rest();
    ::RemoveVectoredExceptionHandler(m_pHandler);
    pInstance = nullptr;
}

LONG SectionWatch::onException(EXCEPTION_POINTERS* pException) {
    const EXCEPTION_RECORD& record = *pException->ExceptionRecord;
    SectionWatch& watch = *pInstance;
    const void* const pAddress = record.ExceptionAddress;
    const bool intoOrdinary = watch.m_ordinary.holds(pAddress);
    if (record.ExceptionCode != EXCEPTION_ACCESS_VIOLATION || (!intoOrdinary && !watch.m_realtime.holds(pAddress))) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    if (intoOrdinary) {
        watch.m_entered.insert(pAddress);
    }
    // The other section is closed, so that the way back is noticed as well.
    watch.m_ordinary.allow(intoOrdinary);
    watch.m_realtime.allow(!intoOrdinary);
    return EXCEPTION_CONTINUE_EXECUTION;
}

std::set<std::string> SectionWatch::entered() const {
    const auto functions = functionsOf(m_file, m_ordinary.number);
    std::set<std::string> names;
    for (const void* const pAddress : m_entered) {
        const auto distance = static_cast<std::size_t>(static_cast<const BYTE*>(pAddress) - m_ordinary.pStart);
        const auto found = functions.find(distance);
        names.insert(found != functions.end() ? found->second : std::to_string(distance));
    }
    return names;
}

} // namespace tovix::test
