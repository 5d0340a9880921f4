// macOS: a piece's window sits one level above the desktop icons, on every Space, stays put when
// Spaces switch, is skipped by window cycling, never activates the application and draws its
// own shadow.
#include "desktop_window.h"

#include <QWindow>

#import <AppKit/AppKit.h>
#include <CoreGraphics/CoreGraphics.h>

namespace velora::Platform {

namespace {

NSWindow* nativeWindow(QWindow* window)
{
    if (!window) return nil;
    NSView* view = reinterpret_cast<NSView*>(window->winId());
    return view ? view.window : nil;
}

// Qt sets its own level, shadow and hiding on deactivation when it shows a window or its flags
// change, so this runs again after each of those.
void apply(QWindow* window)
{
    NSWindow* w = nativeWindow(window);
    if (!w) return;
    w.level = CGWindowLevelForKey(kCGDesktopIconWindowLevelKey) + 1;
    w.collectionBehavior = NSWindowCollectionBehaviorCanJoinAllSpaces | NSWindowCollectionBehaviorStationary |
                           NSWindowCollectionBehaviorIgnoresCycle;
    w.opaque = NO;
    w.backgroundColor = [NSColor clearColor];
    w.hasShadow = NO;
    w.hidesOnDeactivate = NO;
    w.movable = NO;
    w.animationBehavior = NSWindowAnimationBehaviorNone;
    if ([w isKindOfClass:[NSPanel class]]) {
        NSPanel* panel = (NSPanel*)w;
        panel.styleMask = panel.styleMask | NSWindowStyleMaskNonactivatingPanel;
        panel.floatingPanel = NO;
        panel.becomesKeyOnlyIfNeeded = YES;
    }
}

} // namespace

void prepareDesktopWindow(QWindow* window) { apply(window); }
void desktopWindowShown(QWindow* window) { apply(window); }
void setClearOnGrow(QWindow*, bool) {}

bool primaryButtonDown() { return ([NSEvent pressedMouseButtons] & 1) != 0; }

void activateWindow(QWindow* window, const QByteArray&)
{
    [NSApp activateIgnoringOtherApps:YES];
    if (NSWindow* w = nativeWindow(window)) [w makeKeyAndOrderFront:nil];
}

} // namespace velora::Platform
