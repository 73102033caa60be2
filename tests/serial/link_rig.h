#pragma once
// Six pseudo-terminal peers and a station link whose COM n is peer n.
#include "pty_peer.h"
#include "serial/serial_link.h"
#include "settings/settings_files.h"
#include "settings/station_settings.h"

#include <QTemporaryDir>

#include <memory>

using namespace tarvek;

namespace {
inline QByteArray reply(int phase = 0, int sync = kSyncValue, int fault = 0, int power = 44)
{
    std::array<int, kReplyFields> f{};
    for (int k = 0; k < kReplyFields; ++k)
        f[static_cast<std::size_t>(k)] = 60 + k;
    f[pos::ReplyType] = 0;
    f[pos::Phase] = phase;
    f[pos::FaultCode] = fault;
    f[pos::Power] = power;
    f[pos::Sync] = sync;
    return QByteArray::fromStdString(encodeReply(f));
}
inline int byteAt(const QByteArray& b, int i) { return static_cast<unsigned char>(b.at(i)); }
} // namespace

// A station's link on six pseudo-terminals, COM n mapped to peer n.
struct LinkRig {
    QTemporaryDir dir;
    SettingsFiles files{dir.path()};
    StationSettings settings;
    EngineTables tables;
    std::array<std::unique_ptr<PtyPeer>, 6> peers;
    std::unique_ptr<SerialLink> link;

    LinkRig()
    {
        for (auto& p : peers)
            p = std::make_unique<PtyPeer>();
        settings.loadAll(files);
        link = std::make_unique<SerialLink>(tables, settings, files, [this](int com) -> QString {
            if (com >= 1 && com <= 6)
                return peers[static_cast<std::size_t>(com - 1)]->device();
            if (com == 13)
                return QStringLiteral("/dev/tarvek-no-such-device");
            return {};
        });
    }
    // Each slot's COM enabled, and the ports opened.
    explicit LinkRig(std::initializer_list<std::pair<int, int>> slotComs) : LinkRig()
    {
        for (const auto& [slot, com] : slotComs)
            enable(slot, com);
        link->openPorts();
    }
    void enable(int slot, int com)
    {
        settings.portNumbers[static_cast<std::size_t>(slot - 1)] = QString::number(com);
        settings.portEnabled[static_cast<std::size_t>(slot - 1)] = "1";
        link->loadForm();
    }
    PtyPeer& peer(int com) { return *peers[static_cast<std::size_t>(com - 1)]; }
};

