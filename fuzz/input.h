#ifndef VHDX_PARSER_FUZZ_INPUT_H
#define VHDX_PARSER_FUZZ_INPUT_H

/// Takes the bytes of one fuzz input apart. Past the end everything is 0.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "tests/support/bytes.h"

namespace NFuzz {

class CInput {
public:
    CInput(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}

    bool IsEmpty() const { return m_size == 0; }

    std::uint64_t Number(std::size_t width) {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < width && m_size != 0; ++i, ++m_data, --m_size) {
            value |= std::uint64_t{*m_data} << (8 * i);
        }
        return value;
    }

    NTest::CBytes Bytes(std::size_t count) {
        const std::size_t taken = std::min(count, m_size);
        NTest::CBytes bytes(m_data, m_data + taken);
        m_data += taken;
        m_size -= taken;
        return bytes;
    }

    NTest::CBytes Rest() { return Bytes(m_size); }

private:
    const std::uint8_t* m_data;
    std::size_t m_size;
};

}  // namespace NFuzz

#endif
