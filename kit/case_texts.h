#pragma once
// The fixed texts of an enumeration's cases, in declaration order, and the lookup by raw value.
#include <array>
#include <optional>
#include <string_view>

namespace velora {

struct CaseTexts {
    std::string_view raw, title, symbol, blurb;
};

template <typename Enum, std::size_t N>
std::optional<Enum> caseFromRaw(const std::array<CaseTexts, N>& table, std::string_view raw)
{
    for (std::size_t i = 0; i < N; ++i)
        if (table[i].raw == raw) return static_cast<Enum>(i);
    return std::nullopt;
}

} // namespace velora
