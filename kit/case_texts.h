#pragma once
// The raw values of an enumeration's cases, in declaration order, and the lookup by raw value.
// Titles, blurbs and icons are user-interface texts and live with the application.
#include <array>
#include <optional>
#include <string_view>

namespace velora {

template <typename Enum, std::size_t N>
std::optional<Enum> caseFromRaw(const std::array<std::string_view, N>& table, std::string_view raw)
{
    for (std::size_t i = 0; i < N; ++i)
        if (table[i] == raw) return static_cast<Enum>(i);
    return std::nullopt;
}

} // namespace velora
