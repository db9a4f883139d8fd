#ifndef VHDX_PARSER_FOUNDATION_NAME_MASK_H
#define VHDX_PARSER_FOUNDATION_NAME_MASK_H

/// Patterns of file names.

#include <string>

namespace NSystem {

/// Whether `mask` describes the whole of `name`: '*' stands for any characters, '?' for one, any
/// other character for itself. Characters are those of the string's type.
template <class TChar>
bool MatchesMask(const std::basic_string<TChar>& name, const std::basic_string<TChar>& mask) {
    std::size_t inName = 0;
    std::size_t inMask = 0;
    // Where to go on when the characters after the last '*' do not fit: that '*' takes one more.
    // An earlier '*' never has to take more, which keeps the work below name × mask.
    std::size_t lastStar = mask.npos;
    std::size_t starEnd = 0;
    while (inName < name.size()) {
        if (inMask < mask.size() && mask[inMask] == TChar('*')) {
            lastStar = inMask++;
            starEnd = inName;
        } else if (inMask < mask.size() &&
                   (mask[inMask] == TChar('?') || mask[inMask] == name[inName])) {
            ++inMask;
            ++inName;
        } else if (lastStar != mask.npos) {
            inMask = lastStar + 1;
            inName = ++starEnd;
        } else {
            return false;
        }
    }
    return mask.find_first_not_of(TChar('*'), inMask) == mask.npos;
}

}  // namespace NSystem

#endif
