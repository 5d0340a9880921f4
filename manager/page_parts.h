#pragma once
// What the manager's pages are built of: a title over a quieter subtitle, and the empty state
// (a glyph, a headline and a line under it) that stands in for a page's content.
#include "icons.h"

#include <QFont>
#include <QString>

class QLabel;
class QPalette;
class QVBoxLayout;
class QWidget;

namespace velora {

// The font at `factor` times its size, with that weight.
QFont scaledFont(QFont font, qreal factor, QFont::Weight weight = QFont::Normal);

// The palette's text at the secondary strength, for lines that explain.
QPalette quietPalette(QPalette palette);

struct PageTitles {
    QVBoxLayout* layout; // to add to the page's header
    QLabel* subtitle;    // named "subtitle"; its text is the page's to set
};
PageTitles makePageTitles(QWidget* page, const QString& title);

struct EmptyState {
    QWidget* widget;
    QVBoxLayout* layout; // more can follow the detail; the caller closes it with a stretch
    QLabel* headline;
    QLabel* detail;
};
EmptyState makeEmptyState(QWidget* parent, Glyph glyph, const QString& headline, const QString& detail);

} // namespace velora
