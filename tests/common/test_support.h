#pragma once
#include <QByteArray>
#include <QString>

namespace tarvek::test {

QByteArray readBytes(const QString& path);
void writeBytes(const QString& path, const QByteArray& bytes);
// Page objects of a PDF file ("/Type /Page", not the "/Type /Pages" tree node).
int pdfPageCount(const QString& path);

} // namespace tarvek::test

namespace tarvek::test {

// A station folder on a file system the test can fill up: a small tmpfs mounted for the test's
// life. Mounting needs root (CI runs as root); elsewhere ok() is false and why() says so.
class FullDisk {
public:
    FullDisk();
    ~FullDisk();
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

    bool ok() const { return mounted_; }
    QString why() const { return why_; }
    QString path() const { return path_; }
    void fill();    // takes every free block: the next write that needs one fails
    void release(); // gives them back

private:
    QString path_;
    QString why_;
    bool mounted_ = false;
};

} // namespace tarvek::test
