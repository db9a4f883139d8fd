#include "vhdx_disk/check/refusal_source.h"

#include <set>
#include <utility>

#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/read_bytes.h"

namespace NVHDXDisk {

namespace {

class CRefusalSource final : public IByteSource {
public:
    CRefusalSource(CSourcePointer source, const CFindingSink& findings)
        : m_source(std::move(source)), m_findings(findings) {}

    const std::filesystem::path& Path() const override { return m_source->Path(); }
    std::uint64_t Size() const override { return m_source->Size(); }

    bool ReadAt(std::uint64_t position, unsigned char* bytes, std::size_t count,
                CFailure& failure) const override {
        if (ReadBytes(*m_source, position, bytes, count, failure)) {
            return true;
        }
        // Several checks may want the same bytes.
        if (IsRefused(failure) && m_told.insert(position).second) {
            m_findings.Add(EFinding::bytesUnreadable, AtOffset(position), failure.reason);
        }
        return false;
    }

private:
    const CSourcePointer m_source;
    const CFindingSink& m_findings;
    mutable std::set<std::uint64_t> m_told;
};

}  // namespace

CSourcePointer TellingRefusals(CSourcePointer source, const CFindingSink& findings) {
    return std::make_shared<const CRefusalSource>(std::move(source), findings);
}

}  // namespace NVHDXDisk
