#pragma once
#include <QByteArray>
#include <QString>

namespace tarvek::test {

QByteArray readBytes(const QString& path);
void writeBytes(const QString& path, const QByteArray& bytes);
// Page objects of a PDF file ("/Type /Page", not the "/Type /Pages" tree node).
int pdfPageCount(const QString& path);

} // namespace tarvek::test
