#include "editor_rules.h"

#include <QCoreApplication>
#include <QRandomGenerator>
#include <QSet>

#include <algorithm>
#include <cmath>

namespace velora::EditorRules {

namespace {
QString tr(const char* text) { return QCoreApplication::translate("Inspector", text); }

// Finite and small enough to be shown as a whole number.
bool ordinary(double value) { return std::isfinite(value) && std::abs(value) < 1e15; }

QString withMinus(QString text)
{
    if (text.startsWith(QLatin1Char('-'))) text.replace(0, 1, QChar(0x2212));
    return text;
}
} // namespace

int widthPosition(double width)
{
    if (std::isnan(width)) return minWidth;
    return int(std::clamp(std::round(width), double(minWidth), double(maxWidth)));
}

int tiltPosition(double tilt)
{
    if (std::isnan(tilt)) return 0;
    return int(std::clamp(std::round(tilt * tiltSteps), double(minTilt), double(maxTilt)));
}

double tiltOf(int position) { return double(position) / tiltSteps; }

bool widthInRange(double width) { return width >= minWidth && width <= maxWidth; }
bool tiltInRange(double tilt) { return tilt >= tiltOf(minTilt) && tilt <= tiltOf(maxTilt); }

QString widthText(double width)
{
    if (!ordinary(width)) return withMinus(QString::number(width, 'g', 6));
    return withMinus(QString::number(qint64(std::round(width))));
}

QString tiltText(double tilt)
{
    const QString number = ordinary(tilt) ? QString::number(roundTenth(tilt), 'f', 1) : QString::number(tilt, 'g', 6);
    return withMinus(number == QStringLiteral("-0.0") ? QStringLiteral("0.0") : number) + QChar(0x00b0);
}

double roundTenth(double value) { return std::round(value * 10.0) / 10.0; }

double randomTilt(double uniform) { return roundTenth(-5.0 + 10.0 * uniform); }

double randomTilt() { return randomTilt(QRandomGenerator::global()->generateDouble()); }

std::uint32_t randomSeed() { return QRandomGenerator::global()->generate(); }

QList<Interval> intervals()
{
    return {
        {0, tr("Off")},
        {1, tr("Every minute")},
        {5, tr("Every 5 minutes")},
        {15, tr("Every 15 minutes")},
        {30, tr("Every 30 minutes")},
        {60, tr("Every hour")},
        {180, tr("Every 3 hours")},
        {1440, tr("Once a day")},
    };
}

QList<Interval> intervalsFor(qint64 stored)
{
    QList<Interval> out = intervals();
    if (std::any_of(out.cbegin(), out.cend(), [&](const Interval& i) { return i.minutes == stored; })) return out;
    // Below one minute is no slideshow: said as such, but the stored number is kept.
    const QString label = stored < 1 ? tr("Off (%1)").arg(withMinus(QString::number(stored))) : tr("Every %1 minutes").arg(stored);
    const auto at = std::find_if(out.begin(), out.end(), [&](const Interval& i) { return i.minutes > stored; });
    out.insert(at, {stored, label});
    return out;
}

QList<DisplayChoice> displayChoices(const std::optional<QString>& stored, const QList<Screen>& screens)
{
    QList<DisplayChoice> out{{std::nullopt, tr("Main display"), true}};
    QSet<QString> seen;
    for (const Screen& s : screens) {
        if (seen.contains(s.key)) continue;
        seen.insert(s.key);
        out.append({s.key, s.name.isEmpty() ? s.key : s.name, true});
    }
    if (stored && !seen.contains(*stored)) out.append({*stored, tr("%1 (not connected)").arg(*stored), false});
    return out;
}

int displayIndex(const QList<DisplayChoice>& choices, const std::optional<QString>& stored)
{
    for (int i = 0; i < choices.size(); ++i)
        if (choices[i].key == stored) return i;
    return 0;
}

QList<QUuid> reorder(const QList<QUuid>& photoIDs, const std::function<bool(const QUuid&)>& listed, int from, int to)
{
    QList<qsizetype> places;
    QList<QUuid> shown;
    for (qsizetype i = 0; i < photoIDs.size(); ++i)
        if (listed(photoIDs[i])) {
            places.append(i);
            shown.append(photoIDs[i]);
        }
    if (from < 0 || from >= shown.size() || to < 0 || to >= shown.size() || from == to) return photoIDs;
    shown.move(from, to);
    QList<QUuid> out = photoIDs;
    for (qsizetype k = 0; k < places.size(); ++k) out[places[k]] = shown[k];
    return out;
}

QString visibilityText(bool visible) { return visible ? tr("On desktop") : tr("Hidden"); }

QString lockText(bool locked) { return locked ? tr("Locked") : tr("Movable"); }

QString helpLine(bool locked)
{
    return locked ? tr("Clicks pass straight through to your desktop.")
                  : tr("Drag it on the desktop. It snaps to the edges and a soft grid.");
}

QString singleNote(qsizetype photos)
{
    return tr("Shows one photo at a time. Turn on Slideshow to cycle through all ") + QString::number(photos);
}

QString slideshowNote(CollageLayout layout, qsizetype photos)
{
    if (photos < 2) return tr("Add more photos to use a slideshow.");
    return layout == CollageLayout::single ? tr("Crossfades to the next photo.")
                                           : tr("Crossfades to a new order of the photos.");
}

} // namespace velora::EditorRules
