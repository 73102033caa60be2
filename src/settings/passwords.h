#pragma once
// The records of the log-in file: a password an old station wrote in clear, or one set from this
// station and kept as a salted, slow hash, "pbkdf2-sha256$ITERATIONS$SALT$HASH" (base64).
//
// Passwords match regardless of letter case: the typed text is upper-cased before it is hashed.
#include <QByteArray>
#include <QString>

namespace tarvek::passwords {

// A log-in runs on the station's one thread: about 80 ms a record here (Qt's PBKDF2) keeps the
// frame cycle's pause short. The count is in each record, so a later station may raise it.
inline constexpr int kIterations = 20'000;
inline constexpr int kSaltBytes = 16;

// A new record for a password, with a fresh random salt.
QString hashRecord(const QString& password, int iterations = kIterations);
// The same with a given salt (for a repeatable record).
QString hashRecord(const QString& password, const QByteArray& salt, int iterations);

bool isHashed(const QString& record);
// Whether a typed password opens a record, hashed or in clear; takes the same time for any
// password of the same record.
bool matches(const QString& record, const QString& typed);

// Why a new password for one record is refused, or empty when it is accepted: it must not be
// empty, the two entries must agree, and it must not open the other record (a password that
// opens both gives service mode, so the user password would be lost).
QString refusal(const QString& first, const QString& second, const QString& otherRecord);

} // namespace tarvek::passwords
