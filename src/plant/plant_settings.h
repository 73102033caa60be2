#pragma once
// "\Plant.ini": whether and where the station publishes its engines for the plant view.
//   line 1  publishing: 0 off (the default), 1 on
//   line 2  broker host (an address or a name; "127.0.0.1")
//   line 3  broker port (1883); one outside 1..65535 is refused, never replaced
//   line 4  station name, the <station> of every topic (empty: the machine's host name)
//   line 5  user name (empty: no log-in)
//   line 6  path of the password file: its first line is the password; the file must be
//           readable by its owner only
//   line 7  path of the CA file: TLS to the broker when given
#include <QString>
#include <QStringList>

namespace tarvek {

class SettingsFiles;

struct PlantSettings {
    static QString fileName() { return QStringLiteral("\\Plant.ini"); }

    bool enabled = false;
    QString host = QStringLiteral("127.0.0.1");
    int port = 1883;
    QString badPort; // the port line as read, when it is no port
    QString station;
    QString user;
    QString passwordFile;
    QString caFile;

    static PlantSettings defaults();
    // Reads the file, creating it with the defaults when it is missing; a damaged one is kept aside
    // and told, like every settings file. A line that does not read keeps its default, but a port
    // that is not one is kept for problem() to refuse.
    static PlantSettings load(SettingsFiles& files);
    bool save(SettingsFiles& files) const;
    QStringList lines() const;

    // "HOST:PORT" of --plant-broker; false when it is not one.
    bool setBroker(const QString& hostPort);
    // Why the station name cannot be a topic level (a '/', '+', '#', a blank, empty), or empty.
    static QString nameProblem(const QString& name);
    // Why these settings cannot be used, or empty.
    QString problem() const;
    // The password from the password file; on failure, empty with `error` set.
    QString readPassword(QString* error) const;

    bool operator==(const PlantSettings&) const = default;
};

} // namespace tarvek
