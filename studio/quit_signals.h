#pragma once
// Ctrl+C, a plain kill and a closed terminal end Velora the normal way, through the event loop,
// so that the way out saves. Caught from the first line of main on: a signal during start-up
// quits as soon as the event loop runs instead of ending the process unsaved.
#include <QCoreApplication>

namespace velora::QuitSignals {

// Catches SIGINT, SIGTERM and SIGHUP from now on; needs no application object yet.
void install();
// Turns caught signals, earlier ones included, into app.quit() once the event loop runs.
void attach(QCoreApplication& app);
// Whether a signal has been caught, for start-up steps that want to stop early.
bool received();

} // namespace velora::QuitSignals
