#include "login_item.h"

#include <QCoreApplication>

#import <Foundation/Foundation.h>
#import <ServiceManagement/ServiceManagement.h>

namespace velora::LoginItem {

namespace {
struct LoginTexts {
    Q_DECLARE_TR_FUNCTIONS(LoginItem)
};
} // namespace

bool enabled()
{
    // Requires approval, not registered, not found: all count as off.
    return SMAppService.mainAppService.status == SMAppServiceStatusEnabled;
}

std::optional<QString> set(bool on)
{
    NSError* error = nil;
    SMAppService* service = SMAppService.mainAppService;
    const BOOL done = on ? [service registerAndReturnError:&error] : [service unregisterAndReturnError:&error];
    if (done) return std::nullopt;
    return LoginTexts::tr("Couldn’t change the login item: ") + QString::fromNSString(error.localizedDescription);
}

} // namespace velora::LoginItem
