#include "recorder/replay_player.h"

#include "serial/serial_link.h"

#include <QFileInfo>
#include <QThread>
#include <QTimer>

#include <algorithm>

namespace tarvek::recording {

namespace {
std::int64_t toUs(const QDateTime& t) { return t.toMSecsSinceEpoch() * 1000; }
} // namespace

ReplayPlayer::ReplayPlayer(QStringList files, std::optional<QDateTime> from, int speed, QObject* parent)
    : QObject(parent), files_(std::move(files)), clock_(*this), timer_(new QTimer(this))
{
    timer_->setSingleShot(true);
    timer_->setTimerType(Qt::PreciseTimer);
    connect(timer_, &QTimer::timeout, this, &ReplayPlayer::deliver);
    speed_ = std::clamp(speed, kSpeeds.front(), kSpeeds.back());
    if (from) {
        // The files that end before `from` (where the next one begins) are not read.
        fromUs_ = toUs(*from);
        int first = 0;
        for (int i = 0; i < files_.size(); ++i) {
            const QDateTime start = startOfFileName(QFileInfo(files_[i]).fileName());
            if (start.isValid() && toUs(start) <= *fromUs_)
                first = i;
        }
        files_ = files_.mid(first);
    }
    const QDateTime start = files_.isEmpty() ? QDateTime() : startOfFileName(QFileInfo(files_.front()).fileName());
    beginUs_ = start.isValid() ? toUs(start) : toUs(QDateTime::currentDateTime());
    if (fromUs_)
        beginUs_ = std::max(beginUs_, *fromUs_);
    anchorUs_ = beginUs_;
}

ReplayPlayer::~ReplayPlayer()
{
    if (loader_) {
        loader_->wait();
        delete loader_;
    }
}

void ReplayPlayer::attach(SerialLink& link, QObject& station)
{
    link_ = &link;
    link.setTransport(this);
    pace_ = std::make_unique<StationPace>(station);
}

void ReplayPlayer::start()
{
    if (started_)
        return;
    started_ = true;
    waiting_ = true;
    if (pace_)
        pace_->setSpeed(speed_);
    if (files_.isEmpty()) {
        problems_ << QStringLiteral("No recording to replay");
        emit notice(problems_.back());
        finish();
        return;
    }
    loadNext();
}

std::int64_t ReplayPlayer::positionUs() const
{
    if (!started_ || paused_ || ended_ || waiting_)
        return anchorUs_;
    return anchorUs_ + anchor_.nsecsElapsed() / 1000 * speed_;
}

std::int64_t ReplayPlayer::endUs() const
{
    const QDateTime lastStart = startOfFileName(QFileInfo(files_.value(files_.size() - 1)).fileName());
    return std::max({readEndUs_, positionUs(), lastStart.isValid() ? toUs(lastStart) : 0});
}

QString ReplayPlayer::currentFile() const
{
    return index_ >= 0 && index_ < files_.size() ? files_[index_] : QString();
}

std::vector<ReplayEvent> ReplayPlayer::events() const
{
    std::vector<ReplayEvent> all = pastEvents_;
    for (const auto& f : {current_, next_})
        if (f)
            all.insert(all.end(), f->events.begin(), f->events.end());
    return all;
}

QString ReplayPlayer::deviceName(int slot) const { return QStringLiteral("replay LE%1").arg(slot); }

void ReplayPlayer::write(int slot, std::string_view frame)
{
    ++framesSent_;
    if (comparing() && started_ && !ended_)
        frames_.sent(slot, chunks_.at(static_cast<std::size_t>(slot)), frame, positionUs());
}

void ReplayPlayer::loadNext()
{
    const int want = index_ + 1;
    if (loader_ || next_ || want >= files_.size())
        return;
    auto result = std::make_shared<Loaded>();
    loader_ = QThread::create([result, path = files_.at(want)] {
        result->file = readRecording(path);
        result->events = findEvents(result->file);
    });
    connect(loader_, &QThread::finished, this, [this, result] {
        delete std::exchange(loader_, nullptr);
        loaded(result);
    });
    loader_->start(QThread::LowPriority);
}

void ReplayPlayer::loaded(std::shared_ptr<Loaded> file)
{
    next_ = std::move(file);
    readEndUs_ = std::max(readEndUs_, next_->file.lastUs());
    if (waiting_ && advance())
        deliver();
    emit stateChanged();
}

void ReplayPlayer::enter()
{
    if (current_)
        pastEvents_.insert(pastEvents_.end(), current_->events.begin(), current_->events.end());
    current_ = std::move(next_);
    ++index_;
    cursor_ = 0;
    if (!current_->file.problem.isEmpty()) {
        problems_ << current_->file.problem;
        emit notice(current_->file.problem);
    }
    loadNext();
}

bool ReplayPlayer::advance()
{
    while (next_) {
        enter();
        const auto& records = current_->file.records;
        if (fromUs_)
            cursor_ = static_cast<std::size_t>(std::partition_point(records.begin(), records.end(), [this](const auto& e) {
                                                   return e.timeUs < *fromUs_;
                                               }) - records.begin());
        if (cursor_ >= records.size())
            continue; // nothing to play here: the next file
        fromUs_.reset();
        const std::int64_t first = records[cursor_].timeUs;
        const bool stationOff = lastFedUs_ != 0 && first - lastFedUs_ > kStationOffUs;
        if (stationOff) {
            gaps_.push_back({lastFedUs_, first});
            emit notice(QStringLiteral("Nothing recorded from %1 to %2 (the station was off): skipped")
                            .arg(timeText(lastFedUs_), timeText(first)));
            frames_.drop();
        }
        if (lastFedUs_ == 0 || stationOff)
            anchorUs_ = first;
        if (lastFedUs_ == 0 || stationOff || waiting_)
            anchor_.restart(); // a position held while the file was read goes on from here
        waiting_ = false;
        emit stateChanged();
        return true;
    }
    if (loader_ || index_ + 1 < files_.size()) {
        anchorUs_ = positionUs();
        waiting_ = true; // the next file is being read
        return false;
    }
    // The frames that answer the last replies are still to come.
    waiting_ = true;
    anchorUs_ = std::max(anchorUs_, lastFedUs_);
    QTimer::singleShot(std::max(1, kEndGraceMs / speed_), this, &ReplayPlayer::finish);
    return false;
}

void ReplayPlayer::deliver()
{
    while (started_ && !paused_ && !ended_ && !waiting_ && current_) {
        const auto& records = current_->file.records;
        const std::int64_t now = positionUs();
        while (cursor_ < records.size() && records[cursor_].timeUs <= now)
            feed(records[cursor_++]);
        if (cursor_ >= records.size()) {
            if (!advance())
                return;
            continue;
        }
        const std::int64_t next = records[cursor_].timeUs;
        if (lastFedUs_ != 0 && next - lastFedUs_ > kSilenceGapUs) {
            // A long silence inside a file: the station has had time to tell the losses.
            const std::int64_t skipFrom = lastFedUs_ + kSilencePlayedUs;
            if (now < skipFrom) {
                schedule(skipFrom);
                return;
            }
            gaps_.push_back({skipFrom, next});
            emit notice(QStringLiteral("Nothing recorded from %1 to %2: skipped").arg(timeText(skipFrom), timeText(next)));
            jumpTo(next);
            continue;
        }
        schedule(next);
        return;
    }
}

void ReplayPlayer::schedule(std::int64_t dueUs)
{
    const std::int64_t us = std::max<std::int64_t>(0, (dueUs - positionUs()) / speed_);
    timer_->start(static_cast<int>(std::min<std::int64_t>((us + 999) / 1000, 60'000)));
}

void ReplayPlayer::feed(const RecordingFile::Entry& e)
{
    lastFedUs_ = e.timeUs;
    const auto engine = static_cast<std::size_t>(e.engine);
    if (e.direction == kDirectionOut) {
        if (comparing())
            frames_.recorded(e.engine, chunks_[engine], current_->file.bytes(e), e.timeUs);
        return;
    }
    if (e.quiet) {
        if (link_->portOpen(e.engine))
            link_->lineQuiet(e.engine);
        return;
    }
    ++chunks_[engine];
    if (!link_->portOpen(e.engine))
        return; // the operator closed the links: nothing comes in, as on a live station
    link_->receive(e.engine, current_->file.bytes(e));
    if (comparing())
        frames_.settle(e.engine, chunks_[engine]);
}

void ReplayPlayer::jumpTo(std::int64_t us)
{
    frames_.drop();
    while (next_ && !next_->file.empty() && next_->file.firstUs() <= us)
        enter();
    const auto& records = current_->file.records;
    while (cursor_ < records.size() && records[cursor_].timeUs < us)
        ++cursor_;
    lastFedUs_ = std::max(lastFedUs_, us);
    anchorUs_ = us;
    anchor_.restart();
    emit stateChanged();
}

void ReplayPlayer::nextEvent()
{
    if (!current_ || ended_)
        return;
    const std::int64_t now = positionUs();
    const std::vector<ReplayEvent> all = events();
    const auto it = std::find_if(all.begin(), all.end(),
                                 [&](const ReplayEvent& e) { return e.timeUs > std::max(now, lastEventUs_); });
    if (it == all.end()) {
        emit notice(QStringLiteral("No further event in what is read so far (up to %1)").arg(timeText(readEndUs_)));
        return;
    }
    lastEventUs_ = it->timeUs;
    const std::int64_t target = it->timeUs - kEventLeadUs;
    emit notice(QStringLiteral("Next event: %1 at %2").arg(it->text, timeText(it->timeUs)));
    if (target > now) {
        jumpTo(target);
        timer_->stop();
        deliver();
    }
}

void ReplayPlayer::setSpeed(int speed)
{
    speed = std::clamp(speed, kSpeeds.front(), kSpeeds.back());
    if (speed == speed_)
        return;
    anchorUs_ = positionUs();
    anchor_.restart();
    if (speed_ == 1 || speed == 1)
        frames_.drop(); // frames are compared at 1x only, where the timing is the recorded one
    speed_ = speed;
    if (pace_ && started_)
        pace_->setSpeed(speed_);
    emit stateChanged();
    if (started_ && !paused_) {
        timer_->stop();
        deliver();
    }
}

void ReplayPlayer::pause()
{
    if (paused_ || ended_)
        return;
    anchorUs_ = positionUs();
    paused_ = true;
    timer_->stop();
    if (pace_)
        pace_->freeze();
    emit stateChanged();
}

void ReplayPlayer::resume()
{
    if (!paused_ || ended_)
        return;
    paused_ = false;
    anchor_.restart();
    if (pace_)
        pace_->thaw();
    emit stateChanged();
    deliver();
}

void ReplayPlayer::finish()
{
    if (ended_)
        return;
    anchorUs_ = std::max(anchorUs_, lastFedUs_);
    ended_ = true;
    timer_->stop();
    if (pace_)
        pace_->freeze(); // the station shows the last moment recorded, and no loss after it
    frames_.settleAll(chunks_);
    if (lastFedUs_ == 0)
        emit notice(fromUs_ ? QStringLiteral("Nothing recorded at or after %1").arg(timeText(*fromUs_))
                            : QStringLiteral("Nothing could be played"));
    else
        emit notice(QStringLiteral("End of the recording at %1: %2 frames compared, %3 differ")
                        .arg(timeText(anchorUs_))
                        .arg(frames_.compared())
                        .arg(frames_.differing()));
    emit stateChanged();
    emit endedPlaying();
}

} // namespace tarvek::recording
