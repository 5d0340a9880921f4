// An edit in the piece editor to the repainted desktop panel, warm: a step of the width slider
// and a keystroke in the caption field, each from the control's event to the panel's paint,
// beside a plain rendering of the same piece (which every such edit must include).
#include "application.h"
#include "bench_common.h"
#include "desktop_controller.h"
#include "edits.h"
#include "inspector.h"
#include "manager_window.h"
#include "piece_content.h"
#include "piece_panel.h"
#include "piece_renderer.h"
#include "settings.h"
#include "studio.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QKeyEvent>
#include <QLineEdit>
#include <QSettings>
#include <QSlider>
#include <QTemporaryDir>

#include <cstdio>

using namespace velora;

namespace {

constexpr int otherPieces = 60;

// Counts the paints of one widget.
class PaintCounter : public QObject {
public:
    int paints = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint) ++paints;
        return false;
    }
};

// Runs the event loop until the panel has painted once more (the paint runs inside the turn that
// delivers it); false after two seconds.
bool untilPainted(PaintCounter& counter)
{
    const int before = counter.paints;
    QElapsedTimer t;
    t.start();
    while (counter.paints == before) {
        if (t.elapsed() > 2000) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents);
    }
    QCoreApplication::processEvents(QEventLoop::AllEvents); // what the same turn queued
    return true;
}

void settle(int ms)
{
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < ms) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

struct Figures {
    double median;
    double best;
    double inline_; // median of the part before the event loop: the step, the Studio, the views
};

Figures measure(int runs, const std::function<void(int)>& edit, PaintCounter& counter, bool& ok)
{
    for (int i = 0; i < 10; ++i) { // warm: scaled photos, text, shadows are made once
        edit(i);
        ok = untilPainted(counter) && ok;
    }
    int i = 0;
    std::vector<double> inlineMs;
    const std::vector<double> ms = bench::timedRuns([&] {
        QElapsedTimer t;
        t.start();
        edit(i++);
        inlineMs.push_back(double(t.nsecsElapsed()) / 1e6);
        ok = untilPainted(counter) && ok;
    }, runs);
    std::sort(inlineMs.begin(), inlineMs.end());
    return {ms[ms.size() / 2], ms.front(), inlineMs[inlineMs.size() / 2]};
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("VeloraBench"));
    QCommandLineParser parser;
    QCommandLineOption runsOption(QStringLiteral("runs"), QStringLiteral("Timed edits of each kind."), QStringLiteral("N"), QStringLiteral("60"));
    parser.addOption(runsOption);
    parser.addHelpOption();
    parser.process(app);
    const int runs = std::max(1, parser.value(runsOption).toInt());

    QTemporaryDir dir;
    const auto demo = bench::demoPhotos(dir.path());
    if (!demo) return 1;
    const QList<Photo>& photos = *demo;
    bench::decodeAll(photos);

    Settings settings(Settings::file(dir.filePath(QStringLiteral("settings.ini"))));
    Studio studio(settings);
    studio.load();
    studio.setAllHidden(false);
    studio.setPhotos(photos);
    // The edited piece among others, as in a lived-in library.
    QList<Piece> pieces;
    for (int i = 0; i < otherPieces; ++i) {
        Piece p = Piece::make(QStringLiteral("Piece %1").arg(i), {photos[i % photos.size()].id});
        p.isVisible = false; // their panels cost nothing here; their records still go through every step
        pieces.append(p);
    }
    Piece edited = Piece::make(QStringLiteral("Edited"), {photos[0].id, photos[2].id, photos[4].id});
    edited.layout = CollageLayout::row;
    edited.frame = FrameStyle::gallery;
    edited.width = 520;
    edited.caption = QStringLiteral("Three summers");
    pieces.append(edited);
    studio.setPieces(pieces);

    QtScreens screens;
    DesktopController controller(studio, screens);
    Application velora(Application::Mode::snapshot, studio, controller);
    velora.manager().show();
    studio.select(edited.id);
    settle(400);

    PiecePanel* panel = controller.panel(edited.id);
    Inspector* inspector = velora.manager().window()->view()->inspectorColumn()->inspector();
    PieceEditor* editor = inspector->editor();
    if (!panel || !inspector->showsEditor() || editor->pieceID() != edited.id) {
        std::fprintf(stderr, "the editor or the panel is missing\n");
        return 1;
    }
    PaintCounter counter;
    panel->content()->installEventFilter(&counter);
    bool ok = true;

    // A step of the slider from the keyboard: one step to undo each, as a drag's moves are
    // written one by one too (merged on the stack, not skipped).
    QSlider* width = editor->widthSlider();
    const qint64 renders0 = PieceContent::renderCount();
    const Figures slider = measure(runs, [&](int i) {
        width->triggerAction(i % 2 ? QAbstractSlider::SliderSingleStepSub : QAbstractSlider::SliderSingleStepAdd);
    }, counter, ok);
    const qint64 sliderRenders = PieceContent::renderCount() - renders0;

    // A keystroke in the caption, then its deletion.
    QLineEdit* caption = editor->captionField();
    caption->setFocus();
    caption->end(false);
    const Figures typing = measure(runs, [&](int i) {
        const bool add = i % 2 == 0;
        QKeyEvent press(QEvent::KeyPress, add ? Qt::Key_S : Qt::Key_Backspace, Qt::NoModifier, add ? QStringLiteral("s") : QString());
        QCoreApplication::sendEvent(caption, &press);
    }, counter, ok);

    // The reference: the same piece rendered once, as it stands, at the panel's pixel ratio.
    const Piece* now = studio.piece(edited.id);
    const PieceView view{*now, studio.photos(*now), studio.tick(now->id), std::nullopt};
    const qreal dpr = panel->devicePixelRatioF();
    PieceRenderer::render(view, dpr);
    double sink = 0;
    const std::vector<double> reference = bench::timedRuns([&] { sink += PieceRenderer::render(view, dpr).width(); }, runs);
    const double renderMedian = reference[reference.size() / 2];

    std::printf("Velora editor benchmark: an edit in the piece editor to the repainted desktop panel, warm\n");
    std::printf("  (%d pieces in the library, the edited one a row of 3 photos, 520 points wide, pixel ratio %.0f; %d runs)\n",
                otherPieces + 1, dpr, runs);
    std::printf("  %-26s %9s %9s %9s %16s\n", "", "median", "fastest", "ratio", "before the loop");
    std::printf("  %-26s %6.2f ms %6.2f ms %8.2fx %13.2f ms\n", "width slider step", slider.median, slider.best,
                slider.median / renderMedian, slider.inline_);
    std::printf("  %-26s %6.2f ms %6.2f ms %8.2fx %13.2f ms\n", "caption keystroke", typing.median, typing.best,
                typing.median / renderMedian, typing.inline_);
    std::printf("  %-26s %6.2f ms %6.2f ms %8s\n", "reference: plain render", renderMedian, reference.front(), "1.00x");
    std::printf("  renders per slider step: %.2f; undo steps made: %d\n", double(sliderRenders) / (runs + 10),
                velora.edits().stack().count());
    if (sink <= 0) return 1;
    const bool fast = slider.median < 16 && typing.median < 16;
    std::printf("%s: every edit reaches the panel, under 16 ms\n", ok && fast ? "OK" : "MISSED");
    return ok && fast ? 0 : 1;
}
