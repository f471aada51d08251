#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

/// Operations of edits on a timeline's pieces in order of offset, which are segments or runs of blocks that
/// will become segments.
namespace kelaudiofile::detail {

/// Returns the distance from one offset to another, wrapping as all offset arithmetic does.
constexpr std::uint64_t Distance(std::int64_t inFrom, std::int64_t inTo) noexcept {
    return static_cast<std::uint64_t>(inTo) - static_cast<std::uint64_t>(inFrom);
}

/// Returns whether one piece continues another.
template <typename Before, typename Piece>
bool Continues(const Before& inBefore, const Piece& inPiece) {
    return inBefore.GetBlockSize() == inPiece.GetBlockSize() &&
           inBefore.GetEndOffset() == inPiece.GetStartOffset();
}

/// Makes each piece start where the previous one ends, and the first at the given offset.
template <typename Pieces>
void Chain(Pieces& ioPieces, std::int64_t inStartOffset) {
    for (auto& piece : ioPieces) {
        piece.SetStartOffset(inStartOffset);
        inStartOffset = piece.GetEndOffset();
    }
}

/// Returns the first piece that starts at an offset; the end if none does.
template <typename Pieces>
auto StartingAt(Pieces& inPieces, std::int64_t inOffset) {
    return std::find_if(inPieces.begin(), inPieces.end(),
                        [=](const auto& piece) { return piece.GetStartOffset() == inOffset; });
}

/// Splits the piece that contains an offset, unless an earlier piece begins at or after the offset.
template <typename Pieces>
void SplitAt(Pieces& ioPieces, std::int64_t inOffset) {
    for (auto piece = ioPieces.begin(); piece != ioPieces.end() && piece->GetStartOffset() < inOffset;
         ++piece) {
        if (inOffset >= piece->GetEndOffset())
            continue;
        if (Pieces cut = piece->Split(inOffset); !cut.empty()) {
            *piece = std::move(cut.front());
            ioPieces.insert(piece + 1, std::move_iterator(cut.begin() + 1), std::move_iterator(cut.end()));
        }
        return;
    }
}

} // namespace kelaudiofile::detail
