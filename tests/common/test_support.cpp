#include "test_support.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

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

FullDisk::FullDisk()
    : path_(QDir::tempPath() + QStringLiteral("/tarvek-full-%1").arg(::getpid()))
{
    QDir().mkpath(path_);
    if (::mount("tmpfs", path_.toLocal8Bit().constData(), "tmpfs", 0, "size=256k") == 0)
        mounted_ = true;
    else
        why_ = QStringLiteral("cannot mount a small tmpfs to fill (%1); needs root").arg(QString::fromLocal8Bit(std::strerror(errno)));
}

FullDisk::~FullDisk()
{
    if (mounted_)
        ::umount2(path_.toLocal8Bit().constData(), MNT_DETACH);
    QDir().rmdir(path_);
}

void FullDisk::fill()
{
    const int fd = ::open((path_ + QStringLiteral("/.filler")).toLocal8Bit().constData(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (fd < 0)
        return;
    const QByteArray block(4096, 'x');
    while (::write(fd, block.constData(), static_cast<size_t>(block.size())) > 0) {
    }
    ::close(fd);
}

void FullDisk::release() { QFile::remove(path_ + QStringLiteral("/.filler")); }

} // namespace tarvek::test
