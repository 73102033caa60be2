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

// Lets a test process that does not run as root mount FullDisk's tmpfs: it moves into a user and
// mount namespace of its own, as the same user, keeping no right but the one to mount. Call it
// first in main, while the process has one thread. Where the kernel refuses, nothing changes.
void allowMountsWithoutRoot();

// A small tmpfs mounted for the test's life, to be filled up. Mounting needs root, or
// allowMountsWithoutRoot(); without either, ok() is false and why() says so.
class FullDisk {
public:
    FullDisk();
    ~FullDisk();
    bool ok() const { return mounted_; }
    QString why() const { return why_; }
    QString path() const { return path_; }
    void fill();    // takes every free block
    void release(); // gives them back

private:
    QString path_, why_;
    bool mounted_ = false;
};

} // namespace tarvek::test
