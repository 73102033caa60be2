#include "pty_peer.h"
#include "serial/port_write.h"
#include "test_registry.h"

#include <QSerialPort>
#include <QSignalSpy>
#include <QTest>

#include <cerrno>
#include <unistd.h>

using namespace tarvek;

class PortWriteTest : public QObject {
    Q_OBJECT
private slots:
    // A device that has no room takes the frames later, whole and in order, also when it has room
    // again before the port has written what waited; a device gone is reported by the port.
    void framesWaitForRoomAndFaultsAreReported()
    {
        PtyPeer cable(false); // whose far end reads only when told to
        QSerialPort port(cable.device());
        QVERIFY2(port.open(QIODevice::ReadWrite), qPrintable(port.errorString()));
        const QByteArray a(34, 'A');
        const QByteArray b(34, 'B');
        writeFrame(port, a);
        QCOMPARE(cable.drain(), a);

        // The far end stops reading. The kernel moves what was written on to the far end's buffer a
        // moment later, which makes room again, and a write larger than the room takes nothing: the
        // line is full once a single byte, after a pause, finds no room.
        qsizetype filled = 0;
        const QByteArray filler(1024, '.');
        for (bool tookSome = true; tookSome;) {
            tookSome = false;
            for (const qsizetype size : {filler.size(), qsizetype(1)})
                for (ssize_t n; (n = ::write(port.handle(), filler.constData(), static_cast<std::size_t>(size))) > 0;) {
                    filled += n;
                    tookSome = true;
                }
            QCOMPARE(errno, EAGAIN);
            QTest::qSleep(20);
        }
        writeFrame(port, a);
        QByteArray got = cable.drain(); // room again, while the first frame still waits
        writeFrame(port, b);
        QTRY_VERIFY_WITH_TIMEOUT((got += cable.drain(), got.size() >= filled + 2 * a.size()), 10000);
        QCOMPARE(got.size(), filled + 2 * a.size());
        QCOMPARE(got.right(2 * a.size()), a + b);

        QSignalSpy errors(&port, &QSerialPort::errorOccurred);
        cable.hangUp();
        writeFrame(port, a);
        QTRY_VERIFY_WITH_TIMEOUT(!errors.isEmpty(), 10000);
    }
};
TARVEK_TEST(PortWriteTest)
#include "tst_port_write.moc"
