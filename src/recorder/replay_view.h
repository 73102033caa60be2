#pragma once
// The station folder a replay runs on: a copy of the real folder's files in a temporary folder,
// with the six ports on, so that whatever the replaying station writes (history, settings, wear
// counters) goes there and the real folder is left as it was. Removed with the object.
#include <QString>
#include <QTemporaryDir>

namespace tarvek::recording {

class ReplayView {
public:
    // source: the station folder (it may not exist); loginFile: a log-in file named on the
    // command line, or empty.
    ReplayView(const QString& source, const QString& loginFile);
    bool ok() const { return error_.isEmpty(); }
    QString error() const { return error_; }
    QString folder() const { return dir_.path(); }

private:
    QTemporaryDir dir_;
    QString error_;
};

} // namespace tarvek::recording
