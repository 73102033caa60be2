#pragma once
#include <QByteArray>
#include <QString>

namespace tarvek::test {

QByteArray readBytes(const QString& path);
void writeBytes(const QString& path, const QByteArray& bytes);

} // namespace tarvek::test
