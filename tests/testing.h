#pragma once
// Test classes register themselves; the shared main runs every one of them.
#include <QList>
#include <QObject>
#include <QTest>

#include <functional>

namespace velora::testing {
QList<std::function<QObject*()>>& registry();
int registerTest(std::function<QObject*()> make);
} // namespace velora::testing

#define VELORA_TEST(Class) \
    static const int velora_registered_##Class = velora::testing::registerTest([] { return new Class; });
