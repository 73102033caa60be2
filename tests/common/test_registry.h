#pragma once
// Lets one test executable per subsystem hold many QObject test classes, one file each.
#include <QObject>
#include <functional>
#include <memory>
#include <vector>

namespace tarvek::test {

using Factory = std::function<std::unique_ptr<QObject>()>;
std::vector<Factory>& registry();

struct Registrar {
    explicit Registrar(Factory f) { registry().push_back(std::move(f)); }
};

} // namespace tarvek::test

#define TARVEK_TEST(Class)                                                                          \
    static const ::tarvek::test::Registrar tarvekRegistrar_##Class{                                 \
        [] { return std::unique_ptr<QObject>(new Class); }};
