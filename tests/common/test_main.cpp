#include "test_registry.h"

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
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    app.setAttribute(Qt::AA_Use96Dpi, true);
    int failed = 0;
    for (const auto& make : tarvek::test::registry()) {
        auto object = make();
        if (QTest::qExec(object.get(), argc, argv) != 0)
            ++failed;
    }
    return failed;
}
