#pragma once
// The main window on a station logged in to user mode, with or without six simulated engines.
#include "app/main_window/log_window.h"
#include "station/station.h"
#include "simulated_station.h"

#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <memory>

inline constexpr int kRigWaitMs = 60'000;

struct WindowRig {
    using LogWindow = tarvek::LogWindow;
    using Station = tarvek::Station;
    using ManualClock = tarvek::ManualClock;
    using OperatingMode = tarvek::OperatingMode;
    SimulatedEngines engines;
    ManualClock clock;
    std::unique_ptr<Station> station;
    std::unique_ptr<LogWindow> window;

    // withEngines false: a station folder of its own whose ports stay closed. Not logged in.
    // Engines the test started itself are kept.
    bool open(bool withEngines, bool shortStarts = false)
    {
        QString folder = engines.dir.filePath("alone");
        if (withEngines) {
            if (!engines.simulator && !engines.start())
                return false;
            if (shortStarts)
                engines.shortenStarts();
            folder = engines.folder;
        }
        QDir().mkpath(folder);
        station = std::make_unique<Station>(folder, QString(), clock);
        window = std::make_unique<LogWindow>(*station);
        window->show();
        QSignalSpy done(station.get(), &Station::startupFinished);
        return station->startedUp() || done.wait(kRigWaitMs);
    }
    // Opened and logged in to user mode.
    bool start(bool withEngines, bool shortStarts = false)
    {
        if (!open(withEngines, shortStarts))
            return false;
        logIn("harvests");
        return station->mode() == OperatingMode::User;
    }
    // The password typed into the log-in box and confirmed.
    void logIn(const QString& password)
    {
        auto* text1 = get<QLineEdit>("Text1");
        text1->clear();
        QTest::keyClicks(text1, password);
        QTest::mouseClick(get<QPushButton>("OkStart"), Qt::LeftButton);
    }
    void setOptions(bool user, bool service)
    {
        tarvek::SoftwareSettings s = station->software();
        s.userModeOption = user;
        s.serviceModeOption = service;
        station->setSoftwareSettings(s, false);
    }
    template <class T> T* get(const QString& name) const { return window->findChild<T*>(name); }
    QPushButton* button(int n) const { return get<QPushButton>(QString("ComOperStartLE%1").arg(n)); }
};

// The reported values of engine n, the rows that show "---" when nothing live is known.
inline QList<QLabel*> valueLabels(const WindowRig& rig, int n)
{
    QList<QLabel*> labels;
    for (const char* row : {"Phase", "Motor", "FanV1", "FanV2", "Mat", "Sht", "Lpc", "Lfc", "Vis", "Ir", "Rh",
                            "Sbv", "Vcc", "Fault"})
        labels << rig.get<QLabel>(QStringLiteral("LE%1%2").arg(n).arg(QLatin1String(row)));
    return labels;
}

inline bool allDashes(const WindowRig& rig, int n)
{
    for (QLabel* l : valueLabels(rig, n))
        if (l->text() != QLatin1String("---"))
            return false;
    return true;
}

// How many times the station's history file holds `text`.
inline int historyLines(tarvek::Station& station, const QString& text)
{
    return static_cast<int>(tarvek::test::readBytes(station.files().pathOf("\\Histo.txt")).count(text.toLatin1()));
}
