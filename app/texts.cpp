#include "texts.h"

#include "piece_geometry.h"

#include <QCoreApplication>

#include <array>

namespace velora::Texts {

namespace {
QString tr(const char* text) { return QCoreApplication::translate("Velora", text); }

struct Named {
    const char* title;
    const char* blurb;
};

constexpr std::array<Named, 5> frames = {{
    {QT_TRANSLATE_NOOP("Velora", "Gallery"),
     QT_TRANSLATE_NOOP("Velora", "A thin white mat and a soft shadow, like a print on a gallery wall.")},
    {QT_TRANSLATE_NOOP("Velora", "Instant"),
     QT_TRANSLATE_NOOP("Velora", "A deep bottom border with your caption written by hand.")},
    {QT_TRANSLATE_NOOP("Velora", "Film strip"),
     QT_TRANSLATE_NOOP("Velora", "A dark strip with sprocket holes you can see the desktop through.")},
    {QT_TRANSLATE_NOOP("Velora", "Bare"), QT_TRANSLATE_NOOP("Velora", "Just the photo, with softly rounded corners.")},
    {QT_TRANSLATE_NOOP("Velora", "Tape"), QT_TRANSLATE_NOOP("Velora", "A print stuck up with two strips of masking tape.")},
}};

constexpr std::array<Named, 6> layouts = {{
    {QT_TRANSLATE_NOOP("Velora", "Single"), QT_TRANSLATE_NOOP("Velora", "One photo at a time")},
    {QT_TRANSLATE_NOOP("Velora", "Row"), QT_TRANSLATE_NOOP("Velora", "Side by side, equal height")},
    {QT_TRANSLATE_NOOP("Velora", "Column"), QT_TRANSLATE_NOOP("Velora", "Stacked, equal width")},
    {QT_TRANSLATE_NOOP("Velora", "Justified"), QT_TRANSLATE_NOOP("Velora", "Neat rows that fill the width")},
    {QT_TRANSLATE_NOOP("Velora", "Stack"), QT_TRANSLATE_NOOP("Velora", "A loose, fanned pile")},
    {QT_TRANSLATE_NOOP("Velora", "Frieze"), QT_TRANSLATE_NOOP("Velora", "A strip of film")},
}};
} // namespace

QString title(FrameStyle style) { return tr(frames[static_cast<int>(style)].title); }
QString blurb(FrameStyle style) { return tr(frames[static_cast<int>(style)].blurb); }
QString title(CollageLayout layout) { return tr(layouts[static_cast<int>(layout)].title); }
QString blurb(CollageLayout layout) { return tr(layouts[static_cast<int>(layout)].blurb); }

QString title(Page page)
{
    switch (page) {
    case Page::pieces: return tr("Pieces");
    case Page::library: return tr("Library");
    case Page::styles: return tr("Styles");
    }
    return {};
}

QString photoCount(qsizetype n) { return n == 1 ? tr("1 photo") : tr("%1 photos").arg(n); }
QString pieceCount(qsizetype n) { return n == 1 ? tr("1 piece") : tr("%1 pieces").arg(n); }

QString summary(const Piece& piece)
{
    return title(piece.layout) + QStringLiteral(" · ") + photoCount(piece.photoIDs.size()) + QStringLiteral(" · ")
        + title(PieceGeometry::effectiveStyle(piece.frame, piece.layout));
}

QString status(const Piece& piece, bool allHidden, const QString& displayName)
{
    QStringList where;
    if (!piece.isVisible)
        where << tr("Hidden");
    else if (allHidden)
        where << tr("Hidden with all pieces");
    if (piece.isLocked) where << tr("Locked");
    if (where.isEmpty() && !displayName.isEmpty()) where << tr("On %1").arg(displayName);
    if (where.isEmpty()) return summary(piece);
    return summary(piece) + QStringLiteral(" · ") + where.join(QStringLiteral(" · "));
}

} // namespace velora::Texts
