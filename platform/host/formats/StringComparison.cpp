#include "platform/formats/StringComparison.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace lumora::platform {

namespace {

// ICU's decomposing normaliser, looked up once for the process: ICU makes it
// on first use, and a first use on two threads at once is then ordered by
// this initialisation, which the race detector sees.
const icu::Normalizer2* decomposingNormalizer()
{
    static const icu::Normalizer2* const normalizer = [] {
        UErrorCode status = U_ZERO_ERROR;
        const auto* found = icu::Normalizer2::getNFDInstance(status);
        return U_SUCCESS(status) != 0 ? found : nullptr;
    }();
    return normalizer;
}

// The form two texts are compared in: decomposed (so that an accent is a
// combining mark of its own), marks dropped when diacritics do not count,
// then case-folded when case does not count.
icu::UnicodeString comparisonForm(std::string_view text, StringComparison::Options options)
{
    auto string = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
    if ((options & StringComparison::DiacriticInsensitive) != 0) {
        UErrorCode status = U_ZERO_ERROR;
        if (const auto* decomposition = decomposingNormalizer()) {
            auto decomposed = decomposition->normalize(string, status);
            if (U_SUCCESS(status) != 0) {
                icu::UnicodeString stripped;
                for (std::int32_t index = 0; index < decomposed.length();) {
                    const UChar32 character = decomposed.char32At(index);
                    if (u_charType(character) != U_NON_SPACING_MARK) {
                        stripped.append(character);
                    }
                    index = decomposed.moveIndex32(index, 1);
                }
                string = std::move(stripped);
            }
        }
    }
    if ((options & StringComparison::CaseInsensitive) != 0) {
        string.foldCase(U_FOLD_CASE_DEFAULT);
    }
    return string;
}

} // namespace

bool StringComparison::hasPrefix(std::string_view string, std::string_view prefix, Options options)
{
    const auto wanted = comparisonForm(prefix, options);
    // A prefix of nothing but ignored marks begins nothing either.
    return wanted.length() != 0 && comparisonForm(string, options).startsWith(wanted) != 0;
}

std::vector<std::string> StringComparison::filteredByPrefix(
    const std::vector<std::string>& strings, std::string_view prefix, Options options)
{
    std::vector<std::string> kept;
    const auto wanted = comparisonForm(prefix, options);
    if (wanted.length() == 0) {
        return kept;
    }
    for (const auto& string : strings) {
        if (comparisonForm(string, options).startsWith(wanted) != 0) {
            kept.push_back(string);
        }
    }
    return kept;
}

} // namespace lumora::platform
