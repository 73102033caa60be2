#include "test_registry.h"
#include "test_support.h"

#include <QApplication>
#include <QTest>

namespace tarvek::test {
std::vector<Factory>& registry()
{
    static std::vector<Factory> all;
    return all;
}
} // namespace tarvek::test

// Runs every registered test class; the exit code counts the classes that failed.
int main(int argc, char** argv)
{
    tarvek::test::allowMountsWithoutRoot();
    // A crashing test must fail at once: the stack dump forks inside the signal handler and can
    // deadlock on the allocator's lock, leaving the test hanging until its time-out.
    if (qEnvironmentVariableIsEmpty("QTEST_DISABLE_STACK_DUMP"))
        qputenv("QTEST_DISABLE_STACK_DUMP", "1");
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    app.setAttribute(Qt::AA_Use96Dpi, true);
    // "test_x ClassName [options]" runs that class alone; otherwise every class runs.
    std::vector<std::unique_ptr<QObject>> tests;
    for (const auto& make : tarvek::test::registry())
        tests.push_back(make());
    if (argc > 1) {
        for (auto& t : tests)
            if (QByteArray(argv[1]) == t->metaObject()->className()) {
                argv[1] = argv[0];
                return QTest::qExec(t.get(), argc - 1, argv + 1);
            }
    }
    int failed = 0;
    for (auto& t : tests)
        if (QTest::qExec(t.get(), argc, argv) != 0)
            ++failed;
    return failed;
}
