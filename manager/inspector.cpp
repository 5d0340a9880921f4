#include "inspector.h"

#include "app_context.h"
#include "icons.h"
#include "theme.h"

#include <QLabel>
#include <QVBoxLayout>

namespace velora {

QWidget* makeInspectorEmptyState(QWidget* parent)
{
    auto* empty = new QWidget(parent);
    empty->setObjectName(QStringLiteral("inspectorEmpty"));
    auto* layout = new QVBoxLayout(empty);
    layout->addStretch(1);
    auto* glyph = new QLabel(empty);
    glyph->setPixmap(Icons::drawn(Glyph::sliders).pixmap(QSize(40, 40), empty->devicePixelRatioF(), QIcon::Disabled));
    glyph->setAlignment(Qt::AlignCenter);
    layout->addWidget(glyph);
    auto* text = new QLabel(Inspector::tr("Select a piece to edit it"), empty);
    text->setAlignment(Qt::AlignCenter);
    QPalette quiet = text->palette();
    quiet.setColor(QPalette::WindowText, Theme::secondary(quiet));
    text->setPalette(quiet);
    layout->addWidget(text);
    layout->addStretch(1);
    return empty;
}

Inspector::Inspector(AppContext& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
{
    setObjectName(QStringLiteral("inspector"));
    setAccessibleName(tr("Piece editor"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(makeInspectorEmptyState(this));
}

} // namespace velora
