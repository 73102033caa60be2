#include "test_support.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/syscall.h>
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

void allowMountsWithoutRoot()
{
    const uid_t uid = ::geteuid();
    const gid_t gid = ::getegid();
    if (uid == 0 || ::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        return;
    const auto put = [](const char* path, const QByteArray& text) {
        const int fd = ::open(path, O_WRONLY);
        const bool ok = fd >= 0 && ::write(fd, text.constData(), static_cast<size_t>(text.size())) == text.size();
        if (fd >= 0)
            ::close(fd);
        return ok;
    };
    // The same user and group inside as outside: a test that looks for root sees none. The
    // namespace gives every capability; keeping them would let the tests write read-only files.
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct caps[_LINUX_CAPABILITY_U32S_3]{};
    caps[CAP_TO_INDEX(CAP_SYS_ADMIN)].effective = CAP_TO_MASK(CAP_SYS_ADMIN);
    caps[CAP_TO_INDEX(CAP_SYS_ADMIN)].permitted = CAP_TO_MASK(CAP_SYS_ADMIN);
    if (!put("/proc/self/setgroups", "deny")
        || !put("/proc/self/uid_map", QByteArray::number(uid) + ' ' + QByteArray::number(uid) + " 1")
        || !put("/proc/self/gid_map", QByteArray::number(gid) + ' ' + QByteArray::number(gid) + " 1")
        || ::syscall(SYS_capset, &header, caps) != 0)
        qFatal("cannot set up the tests' own user namespace: %s", std::strerror(errno));
}

FullDisk::FullDisk()
    : path_(QDir::tempPath() + QStringLiteral("/tarvek-full-%1").arg(::getpid()))
{
    QDir().mkpath(path_);
    if (::mount("tmpfs", path_.toLocal8Bit().constData(), "tmpfs", 0, "size=256k") == 0)
        mounted_ = true;
    else
        why_ = QStringLiteral("cannot mount a small tmpfs to fill (%1)").arg(QString::fromLocal8Bit(std::strerror(errno)));
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
