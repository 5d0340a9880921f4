#include "testing.h"

#include <QApplication>
#include <QStandardPaths>

namespace velora::testing {
QList<std::function<QObject*()>>& registry()
{
    static QList<std::function<QObject*()>> all;
    return all;
}

int registerTest(std::function<QObject*()> make)
{
    registry().append(std::move(make));
    return 0;
}
} // namespace velora::testing

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    // Keep every test away from the real user data and settings.
    QStandardPaths::setTestModeEnabled(true);
    QApplication app(argc, argv);
    app.setOrganizationName(QStringLiteral("VeloraTests"));
    app.setApplicationName(QStringLiteral("VeloraTests"));
    int failed = 0;
    for (const auto& make : velora::testing::registry()) {
        QObject* test = make();
        failed += QTest::qExec(test, argc, argv);
        delete test;
    }
    return failed == 0 ? 0 : 1;
}
