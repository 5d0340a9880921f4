#include "page_parts.h"

#include "theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace velora {

QFont scaledFont(QFont f, qreal factor, QFont::Weight weight)
{
    f.setPointSizeF(f.pointSizeF() * factor);
    f.setWeight(weight);
    return f;
}

QPalette quietPalette(QPalette palette)
{
    palette.setColor(QPalette::WindowText, Theme::secondary(palette));
    return palette;
}

PageTitles makePageTitles(QWidget* page, const QString& text)
{
    auto* layout = new QVBoxLayout;
    layout->setSpacing(2);
    auto* title = new QLabel(text, page);
    title->setFont(scaledFont(title->font(), 1.6, QFont::Bold));
    title->setAccessibleName(text);
    auto* subtitle = new QLabel(page);
    subtitle->setObjectName(QStringLiteral("subtitle"));
    subtitle->setWordWrap(true);
    subtitle->setPalette(quietPalette(subtitle->palette()));
    layout->addWidget(title);
    layout->addWidget(subtitle);
    return {layout, subtitle};
}

EmptyState makeEmptyState(QWidget* parent, Glyph glyph, const QString& headline, const QString& detail)
{
    auto* widget = new QWidget(parent);
    auto* layout = new QVBoxLayout(widget);
    layout->addStretch(2);
    auto* picture = new QLabel(widget);
    picture->setPixmap(Icons::drawn(glyph).pixmap(QSize(56, 56), widget->devicePixelRatioF(), QIcon::Disabled));
    picture->setAlignment(Qt::AlignCenter);
    layout->addWidget(picture);
    auto* head = new QLabel(headline, widget);
    head->setFont(scaledFont(head->font(), 1.25, QFont::DemiBold));
    head->setAlignment(Qt::AlignCenter);
    layout->addWidget(head);
    auto* line = new QLabel(detail, widget);
    line->setWordWrap(true);
    line->setAlignment(Qt::AlignCenter);
    line->setPalette(quietPalette(line->palette()));
    line->setMaximumWidth(440);
    // Centred between stretches rather than by alignment, so that the line's height is taken for
    // the width it wraps at.
    auto* centred = new QHBoxLayout;
    centred->addStretch(1);
    centred->addWidget(line, 100);
    centred->addStretch(1);
    layout->addLayout(centred);
    return {widget, layout, head, line};
}

} // namespace velora
