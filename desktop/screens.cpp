#include "screens.h"

#include "displays.h"

#include <QGuiApplication>
#include <QScreen>

#include <cmath>

namespace velora {

ScreenSpace ScreenSpace::fromPrimary(const QRect& primary)
{
    return ScreenSpace(double(primary.y()) + double(primary.height()));
}

QRect ScreenSpace::windowRect(const Rect& r) const
{
    const QRectF q = toQt(r);
    return QRect(int(std::lround(q.x())), int(std::lround(q.y())), int(std::ceil(q.width() - 1e-9)),
                 int(std::ceil(q.height() - 1e-9)));
}

QtScreens::QtScreens(QObject* parent)
    : ScreenSource(parent)
{
    for (QScreen* s : QGuiApplication::screens()) watch(s);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, [this](QScreen* s) {
        watch(s);
        emit screensChanged();
    });
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, &ScreenSource::screensChanged);
    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, &ScreenSource::screensChanged);
}

void QtScreens::watch(QScreen* screen)
{
    connect(screen, &QScreen::geometryChanged, this, &ScreenSource::screensChanged);
    connect(screen, &QScreen::availableGeometryChanged, this, &ScreenSource::screensChanged);
    // A new scale: pieces render again at the new pixel ratio.
    connect(screen, &QScreen::logicalDotsPerInchChanged, this, &ScreenSource::screensChanged);
}

ScreenSpace QtScreens::space() const
{
    const QScreen* primary = QGuiApplication::primaryScreen();
    return primary ? ScreenSpace::fromPrimary(primary->geometry()) : ScreenSpace();
}

QList<ScreenInfo> QtScreens::screens() const
{
    QList<QScreen*> all = QGuiApplication::screens();
    QScreen* primary = QGuiApplication::primaryScreen();
    if (primary && all.indexOf(primary) > 0) {
        all.removeOne(primary);
        all.prepend(primary);
    }
    const ScreenSpace sp = space();
    QList<ScreenInfo> out;
    out.reserve(all.size());
    for (QScreen* s : all)
        out.append({Displays::key(s), sp.fromQt(s->geometry()), sp.fromQt(s->availableGeometry())});
    return out;
}

std::optional<qsizetype> ScreenMath::screenFor(const std::optional<QString>& key, const QList<ScreenInfo>& screens)
{
    if (key) {
        for (qsizetype i = 0; i < screens.size(); ++i)
            if (screens[i].key == *key) return i;
    }
    if (!screens.isEmpty()) return 0;
    return std::nullopt;
}

double ScreenMath::overlapArea(const Rect& a, const Rect& b)
{
    const double w = std::min(a.maxX(), b.maxX()) - std::max(a.minX(), b.minX());
    const double h = std::min(a.maxY(), b.maxY()) - std::max(a.minY(), b.minY());
    return (w > 0 && h > 0) ? w * h : 0;
}

std::optional<qsizetype> ScreenMath::screenOf(const Rect& frame, const QList<ScreenInfo>& screens)
{
    std::optional<qsizetype> best;
    double bestArea = 0;
    for (qsizetype i = 0; i < screens.size(); ++i) {
        const double area = overlapArea(frame, screens[i].frame);
        if (area > bestArea) {
            bestArea = area;
            best = i;
        }
    }
    return best;
}

} // namespace velora
