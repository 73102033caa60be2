#include "recording/data_logger.h"

#include "recording/named_timer.h"
#include "settings/settings_files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <utility>

namespace tarvek {

namespace {
constexpr std::array<const char*, kLoggerColumns> kNames{"[LPC ]", "[LFC ]", "[VIS ]", "[IR  ]",
                                                         "[RH  ]", "[LOS ]", "[SHT ]", "[MAT ]"};
constexpr std::array<const char*, kLoggerColumns> kUnits{"[AU  ]", "[%   ]", "[W/m2]", "[%   ]",
                                                         "[%   ]", "[We  ]", "[\xB0" "C/F]", "[\xB0" "C/F]"};
constexpr std::array<int, 11> kMinutes{1, 2, 5, 10, 20, 30, 60, 120, 180, 240, 300};
constexpr auto kMat = static_cast<std::size_t>(LoggerColumn::Mat);
constexpr auto kLos = static_cast<std::size_t>(LoggerColumn::Los);
const QByteArray kEol("\r\n");

// One header row: the three fixed cells, then the ticked columns; only MAT closes the line.
QByteArray headerRow(char sep, const std::array<bool, kLoggerColumns>& columns,
                     const std::array<const char*, kLoggerColumns>& cells)
{
    QByteArray out = QByteArray("[CNT ]") + sep + "[Date]" + sep + "[Time]" + sep;
    for (std::size_t c = 0; c < kMat; ++c)
        if (columns[c])
            out += QByteArray(cells[c]) + sep;
    if (columns[kMat])
        out += QByteArray(cells[kMat]) + kEol;
    return out;
}
} // namespace

const QStringList& DataLogger::intervalCaptions()
{
    static const QStringList captions{
        QStringLiteral("  [1 minute]"),   QStringLiteral("  [2 minutes]"),  QStringLiteral("  [5 minutes]"),
        QStringLiteral("  [10 minutes]"), QStringLiteral("  [20 minutes]"), QStringLiteral("  [30 minutes]"),
        QStringLiteral("  [1 hour]"),     QStringLiteral("  [2 hours]"),    QStringLiteral("  [3 hours]"),
        QStringLiteral("  [4 hours]"),    QStringLiteral("  [5 hours]")};
    return captions;
}

int DataLogger::intervalMinutes(int index)
{
    return kMinutes.at(static_cast<std::size_t>(std::clamp(index, 0, int(kMinutes.size()) - 1)));
}

QByteArray DataLogger::header(bool csv, const std::array<bool, kLoggerColumns>& columns)
{
    const char sep = separator(csv);
    return kEol + headerRow(sep, columns, kNames) + headerRow(sep, columns, kUnits) + " " + kEol;
}

QByteArray DataLogger::row(bool csv, const std::array<bool, kLoggerColumns>& columns, qint64 counter,
                           const QString& date, const QString& time,
                           const std::array<QString, kLoggerColumns>& values)
{
    const char sep = separator(csv);
    QByteArray out = QByteArray::number(counter) + sep + date.trimmed().toLatin1() + sep +
                     time.trimmed().toLatin1() + sep;
    for (std::size_t c = 0; c < kMat; ++c)
        if (columns[c])
            out += values[c].toLatin1() + sep;
    if (columns[kMat])
        out += values[kMat].toLatin1() + ' ';
    return out + kEol;
}

QString DataLogger::monthDayYear(const QDate& date)
{
    return QStringLiteral("%1/%2/%3").arg(date.month()).arg(date.day()).arg(date.year());
}

QString DataLogger::hoursMinutes(const QTime& time)
{
    int hours = time.hour();
    const bool pm = hours > 12;
    if (pm)
        hours -= 12;
    return QStringLiteral("%1:%2%3")
        .arg(hours, 2, 10, QLatin1Char('0'))
        .arg(time.minute(), 2, 10, QLatin1Char('0'))
        .arg(pm ? QStringLiteral("PM") : QStringLiteral("AM"));
}

DataLogger::DataLogger(SettingsFiles& files, const Clock& clock, ValueSource values, QObject* parent)
    : QObject(parent), files_(files), clock_(clock), values_(std::move(values)),
      timer42_(namedTimer(this, QStringLiteral("Timer42"), kTickMs, false))
{
    setObjectName(QStringLiteral("DataLogger"));
    connect(timer42_, &QTimer::timeout, this, &DataLogger::tick);
}

QString DataLogger::folder() const
{
    return QDir(files_.folder()).filePath(folderName());
}

QString DataLogger::fileFor(int engine) const
{
    return QDir(folder()).filePath(choices_.name + QStringLiteral("_LE") + QString::number(engine) +
                                   extension(choices_.csv));
}

QStringList DataLogger::existingFiles() const
{
    return QDir(folder()).entryList({filter(choices_.csv)}, QDir::Files, QDir::Name);
}

void DataLogger::setChoices(const LoggerChoices& choices, bool save)
{
    choices_ = choices;
    choices_.interval = std::clamp(choices_.interval, 0, int(kMinutes.size()) - 1);
    if (save)
        this->save();
    emit changed();
}

void DataLogger::setCsv(bool csv)
{
    LoggerChoices c = choices_;
    c.csv = csv;
    setChoices(c);
}

void DataLogger::setInterval(int index)
{
    LoggerChoices c = choices_;
    c.interval = index;
    setChoices(c);
}

void DataLogger::setEngineLogged(int engine, bool logged)
{
    LoggerChoices c = choices_;
    c.engines.at(static_cast<std::size_t>(engine - 1)) = logged;
    setChoices(c);
}

void DataLogger::setColumn(LoggerColumn column, bool on)
{
    LoggerChoices c = choices_;
    c.columns.at(static_cast<std::size_t>(column)) = on;
    setChoices(c);
}

void DataLogger::setErase(bool erase)
{
    LoggerChoices c = choices_;
    c.erase = erase;
    setChoices(c);
}

void DataLogger::setName(const QString& name)
{
    LoggerChoices c = choices_;
    c.name = name.trimmed();
    setChoices(c, false);
}

void DataLogger::restore(const std::array<QString, kStepLines>& steps, const std::array<int, kTypeFileLines>& type)
{
    version_ = steps[0];
    typeLines_ = type;
    LoggerChoices c = choices_;
    c.interval = SettingsFiles::toNumber(steps[1]).value_or(0);
    const int engines = SettingsFiles::toNumber(steps[2]).value_or(0);
    for (int i = 0; i < kLoggerEngines; ++i)
        c.engines[static_cast<std::size_t>(i)] = (engines >> i) & 1;
    c.erase = SettingsFiles::toNumber(steps[3]).value_or(1) == 0;
    c.csv = type[0] == 1;
    for (std::size_t k = 0; k < kLoggerColumns; ++k)
        c.columns[k] = type[k + 1] == 1;
    setChoices(c, false);
}

void DataLogger::save()
{
    int engines = 0;
    for (int i = 0; i < kLoggerEngines; ++i)
        if (choices_.engines[static_cast<std::size_t>(i)])
            engines |= 1 << i;
    files_.writeValues(stepFileName(), {version_, QString::number(choices_.interval), QString::number(engines),
                                        choices_.erase ? QStringLiteral("0") : QStringLiteral("1")});
    typeLines_[0] = choices_.csv ? 1 : 0;
    for (std::size_t k = 0; k < kLoggerColumns; ++k)
        typeLines_[k + 1] = choices_.columns[k] ? 1 : 0;
    files_.writeNumbers(typeFileName(), typeLines_);
}

bool DataLogger::ready() const
{
    const bool engine = std::find(choices_.engines.begin(), choices_.engines.end(), true) != choices_.engines.end();
    return engine && !choices_.name.isEmpty();
}

bool DataLogger::confirmName(const QString& typed)
{
    QString name = QFileInfo(typed.trimmed()).fileName();
    name.remove(QRegularExpression(QStringLiteral("\\.(txt|csv)$"), QRegularExpression::CaseInsensitiveOption));
    name.remove(QRegularExpression(QStringLiteral("_LE[1-6]$"), QRegularExpression::CaseInsensitiveOption));
    const bool engine = std::find(choices_.engines.begin(), choices_.engines.end(), true) != choices_.engines.end();
    if (name.trimmed().isEmpty() || !engine) {
        emit warning(nothingCaption(), nothingText());
        return false;
    }
    setName(name);
    QStringList lines{QStringLiteral("The data will be saved in")};
    for (int n = 1; n <= kLoggerEngines; ++n)
        if (choices_.engines[static_cast<std::size_t>(n - 1)])
            lines << QDir::toNativeSeparators(fileFor(n));
    emit notice(noticeCaption(), lines.join(QLatin1Char('\n')));
    return true;
}

void DataLogger::create()
{
    emit formRequested();
}

bool DataLogger::start()
{
    return startRun(choices_.erase);
}

bool DataLogger::resumeIfRunning()
{
    const QStringList run = files_.readValues(runFileName());
    if (running_ || run.size() < 2 || run.at(0).trimmed() != QLatin1String("1") || run.at(1).trimmed().isEmpty())
        return false;
    choices_.name = run.at(1).trimmed();
    return startRun(false);
}

bool DataLogger::startRun(bool erase)
{
    if (!ready()) {
        emit warning(nothingCaption(), nothingText());
        return false;
    }
    save();
    files_.writeValues(runFileName(), {QStringLiteral("1"), choices_.name});
    headerWritten_.fill(false);
    failing_.fill(false);
    rowsLost_.fill(0);
    counter_ = 0;
    running_ = true;
    if (erase)
        for (int n = 1; n <= kLoggerEngines; ++n)
            if (choices_.engines[static_cast<std::size_t>(n - 1)] && QFile::exists(fileFor(n)) &&
                !QFile::remove(fileFor(n)))
                fail(n - 1, fileFor(n), QStringLiteral("cannot erase it"));
    const QString files = QDir::toNativeSeparators(fileFor(1)).replace(QStringLiteral("_LE1"), QStringLiteral("_LE*"));
    emit statusText(QStringLiteral("Datalogger ON: %1, every %2").arg(files, intervalCaptions().at(choices_.interval).trimmed()));
    pass();
    countdown_ = intervalMinutes(choices_.interval) - 1;
    timer42_->start();
    emit changed();
    return true;
}

void DataLogger::off()
{
    const bool was = running_;
    timer42_->stop();
    running_ = false;
    countdown_ = 0;
    if (was) {
        files_.writeValues(runFileName(), {QStringLiteral("0"), choices_.name});
        emit statusText(QStringLiteral("Datalogger OFF"));
    }
    emit changed();
}

QString DataLogger::runningSummary() const
{
    if (!running_)
        return {};
    const auto engines = std::count(choices_.engines.begin(), choices_.engines.end(), true);
    QString every = intervalCaptions().at(choices_.interval).trimmed();
    every.remove(QLatin1Char('[')).remove(QLatin1Char(']'));
    return QStringLiteral("Data logger: %1 LE every %2").arg(engines).arg(every);
}

void DataLogger::setTickInterval(int ms)
{
    timer42_->setInterval(ms);
}

void DataLogger::tick()
{
    if (!running_)
        return;
    if (countdown_ > 0) {
        --countdown_;
        emit changed();
        return;
    }
    countdown_ = intervalMinutes(choices_.interval) - 1;
    runWhenClear_([this] {
        if (!running_)
            return; // switched off while the pass waited
        pass();
        emit changed();
    });
}

void DataLogger::pass()
{
    // LOS is the power set-point as filed; a file that cannot be read keeps the last values.
    // It is read again when it has changed, by the station or by hand, or cannot be looked at.
    const QString setPointFile = QStringLiteral("\\ConsignePW.ini");
    const std::optional<SettingsFiles::Stamp> stamp = files_.stamp(setPointFile);
    if (!stamp || stamp != setPointsSeen_) {
        files_.readNumbers(setPointFile, setPoints_);
        setPointsSeen_ = stamp;
    }
    const QDateTime now = clock_.now();
    lastDate_ = monthDayYear(now.date());
    lastClock_ = hoursMinutes(now.time());
    ++counter_;
    const QString date = clock_.dateText();
    const QString time = clock_.timeText();
    for (int i = 0; i < kLoggerEngines; ++i) {
        if (!choices_.engines[static_cast<std::size_t>(i)])
            continue;
        std::array<QString, kLoggerColumns> values;
        for (std::size_t c = 0; c < kLoggerColumns; ++c)
            if (choices_.columns[c])
                values[c] = c == kLos ? QString::number(setPoints_[static_cast<std::size_t>(i)] * 10)
                                      : values_(i, static_cast<LoggerColumn>(c));
        write(i, row(choices_.csv, choices_.columns, counter_, date, time, values));
    }
    emit passWritten(counter_);
}

void DataLogger::write(int index, const QByteArray& rowBytes)
{
    const auto k = static_cast<std::size_t>(index);
    const QString path = fileFor(index + 1);
    // A folder removed while logging is made again; one that cannot be made is the failure.
    if (!QFileInfo::exists(folder()))
        QDir().mkpath(folder());
    QFile file(path);
    // Unbuffered: the row goes to the system in one write, so a failure is seen here.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered)) {
        fail(index, path, file.errorString());
        return;
    }
    const qint64 before = file.size();
    const QByteArray bytes = headerWritten_[k] ? rowBytes : header(choices_.csv, choices_.columns) + rowBytes;
    if (file.write(bytes) != bytes.size()) {
        const QString reason = file.errorString();
        // Half a row would shift every column after it: the file goes back to its last whole row.
        file.resize(before);
        fail(index, path, reason);
        return;
    }
    file.close();
    headerWritten_[k] = true;
    if (failing_[k]) {
        failing_[k] = false;
        emit recovered(QStringLiteral("Datalogger LE%1: writing again to %2; %3 row(s) could not be written")
                           .arg(index + 1)
                           .arg(QDir::toNativeSeparators(path))
                           .arg(std::exchange(rowsLost_[k], 0)));
    }
}

void DataLogger::fail(int index, const QString& path, const QString& reason)
{
    ++rowsLost_[static_cast<std::size_t>(index)];
    auto& flag = failing_[static_cast<std::size_t>(index)];
    if (flag)
        return;
    flag = true;
    emit problem(QStringLiteral("Datalogger LE%1: cannot write %2 (%3)")
                     .arg(index + 1)
                     .arg(QDir::toNativeSeparators(path), reason));
}

} // namespace tarvek
