#pragma once
// What the piece editor decides, apart from its widgets: slider ranges and their mapping, the
// random tilt, the slideshow intervals, the choices of display, the order of photos and the texts
// that follow the piece.
#include "records.h"

#include <QList>
#include <QString>
#include <QUuid>

#include <cstdint>
#include <functional>
#include <optional>

namespace velora::EditorRules {

// The width slider, in whole points.
inline constexpr int minWidth = 140;
inline constexpr int maxWidth = 1100;
// The tilt slider, in tenths of a degree.
inline constexpr int tiltSteps = 10;
inline constexpr int minTilt = -12 * tiltSteps;
inline constexpr int maxTilt = 12 * tiltSteps;

// Slider positions for stored values: clamped to the range, so a stored value outside it only
// shows where the handle stops; nothing is written until the handle moves.
int widthPosition(double width);
int tiltPosition(double tilt);
double tiltOf(int position);
bool widthInRange(double width);
bool tiltInRange(double tilt);

// The readouts: the width as a whole number, the tilt with one decimal and a degree sign.
QString widthText(double width);
QString tiltText(double tilt);

// Rounded to one decimal, halves away from zero.
double roundTenth(double value);
// From a uniform draw in [0, 1): in [-5, 5], one decimal.
double randomTilt(double uniform);
double randomTilt();
// Any 32-bit value: a new deal of a stack.
std::uint32_t randomSeed();

struct Interval {
    qint64 minutes;
    QString label;
};
// The slideshow intervals in the order offered, "Off" first.
QList<Interval> intervals();
// The intervals offered for a stored value: the listed ones, plus the stored one where it is not
// listed (from an edited file), so that showing it changes nothing.
QList<Interval> intervalsFor(qint64 stored);

struct DisplayChoice {
    std::optional<QString> key; // nothing: the main display, whichever that is
    QString label;
    bool connected = true;
    friend bool operator==(const DisplayChoice&, const DisplayChoice&) = default;
};
struct Screen {
    QString key;
    QString name;
};
// "Main display", then one choice per connected screen (a key once), then the stored key of a
// screen that is not connected, marked so, so that it is kept until the user picks another.
QList<DisplayChoice> displayChoices(const std::optional<QString>& stored, const QList<Screen>& screens);
int displayIndex(const QList<DisplayChoice>& choices, const std::optional<QString>& stored);

// Moves the photo at `from` to `to`, both counted among the listed photos (those still in the
// library); identifiers of photos not listed keep their places.
QList<QUuid> reorder(const QList<QUuid>& photoIDs, const std::function<bool(const QUuid&)>& listed, int from, int to);

// Texts that follow the piece.
QString visibilityText(bool visible);
QString lockText(bool locked);
QString helpLine(bool locked);
QString singleNote(qsizetype photos);
// The slideshow's note: what a change does, or why there is none.
QString slideshowNote(CollageLayout layout, qsizetype photos);

} // namespace velora::EditorRules
