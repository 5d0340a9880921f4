// The CoreGraphics display UUID: stable across restarts and rearrangements.
#import <AppKit/AppKit.h>
#include <QScreen>
#include <QString>

namespace velora {

QString platformDisplayUUID(const QScreen* screen)
{
    if (!screen) return {};
    for (NSScreen* ns in [NSScreen screens]) {
        if (QString::fromNSString(ns.localizedName) != screen->name()) continue;
        NSNumber* number = ns.deviceDescription[@"NSScreenNumber"];
        if (![number isKindOfClass:[NSNumber class]]) return {};
        CFUUIDRef uuid = CGDisplayCreateUUIDFromDisplayID(number.unsignedIntValue);
        if (!uuid) return {};
        CFStringRef text = CFUUIDCreateString(nullptr, uuid);
        CFRelease(uuid);
        if (!text) return {};
        const QString result = QString::fromCFString(text);
        CFRelease(text);
        return result;
    }
    return {};
}

} // namespace velora
