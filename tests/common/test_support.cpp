#include "test_support.h"

#include <QFile>
#include <QRegularExpression>

namespace tarvek::test {

QByteArray readBytes(const QString& path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return f.readAll();
}

void writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    if (f.open(QIODevice::WriteOnly))
        f.write(bytes);
}

int pdfPageCount(const QString& path)
{
    const QString text = QString::fromLatin1(readBytes(path));
    static const QRegularExpression page(QStringLiteral("/Type\\s*/Page(?![a-zA-Z])"));
    int count = 0;
    for (auto it = page.globalMatch(text); it.hasNext(); it.next())
        ++count;
    return count;
}

} // namespace tarvek::test
