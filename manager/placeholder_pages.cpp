#include "placeholder_pages.h"

#include "app_context.h"
#include "texts.h"

#include <QLabel>
#include <QVBoxLayout>

namespace velora {

namespace {
void header(QWidget* page, Page which)
{
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(24, 18, 24, 18);
    auto* title = new QLabel(Texts::title(which), page);
    QFont big = title->font();
    big.setPointSizeF(big.pointSizeF() * 1.6);
    big.setWeight(QFont::Bold);
    title->setFont(big);
    layout->addWidget(title);
    layout->addStretch(1);
}
} // namespace

StylesPage::StylesPage(AppContext& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
{
    setObjectName(QStringLiteral("stylesPage"));
    header(this, Page::styles);
}

} // namespace velora
