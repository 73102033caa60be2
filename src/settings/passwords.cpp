#include "settings/passwords.h"

#include <QCryptographicHash>
#include <QPasswordDigestor>
#include <QRandomGenerator>
#include <QStringList>

#include <optional>

namespace tarvek::passwords {

namespace {
const QString kScheme = QStringLiteral("pbkdf2-sha256");
constexpr int kHashBytes = 32;
constexpr int kMaxIterations = 10'000'000; // a record asking for more is damaged, not slow

struct Parsed {
    int iterations = 0;
    QByteArray salt;
    QByteArray hash;
};

std::optional<Parsed> parse(const QString& record)
{
    const QStringList parts = record.split(QLatin1Char('$'));
    if (parts.size() != 4 || parts[0] != kScheme)
        return std::nullopt;
    Parsed p;
    bool ok = false;
    p.iterations = parts[1].toInt(&ok);
    const auto salt = QByteArray::fromBase64Encoding(parts[2].toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    const auto hash = QByteArray::fromBase64Encoding(parts[3].toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    if (!ok || p.iterations < 1 || p.iterations > kMaxIterations || !salt || !hash || salt.decoded.isEmpty() ||
        hash.decoded.size() != kHashBytes)
        return std::nullopt;
    p.salt = salt.decoded;
    p.hash = hash.decoded;
    return p;
}

// PBKDF2 from Qt Network, which the project links already for the simulator's TCP transport.
QByteArray derive(const QString& password, const QByteArray& salt, int iterations)
{
    return QPasswordDigestor::deriveKeyPbkdf2(QCryptographicHash::Sha256, password.toUpper().toUtf8(), salt,
                                              iterations, kHashBytes);
}

// Compares every byte whatever the first difference, so the time taken tells nothing.
bool sameBytes(const QByteArray& a, const QByteArray& b)
{
    if (a.size() != b.size())
        return false;
    unsigned char diff = 0;
    for (qsizetype i = 0; i < a.size(); ++i)
        diff |= static_cast<unsigned char>(a[i] ^ b[i]);
    return diff == 0;
}

QByteArray digest(const QString& text)
{
    return QCryptographicHash::hash(text.toUpper().toUtf8(), QCryptographicHash::Sha256);
}
} // namespace

QString hashRecord(const QString& password, const QByteArray& salt, int iterations)
{
    return QStringLiteral("%1$%2$%3$%4")
        .arg(kScheme)
        .arg(iterations)
        .arg(QString::fromLatin1(salt.toBase64()), QString::fromLatin1(derive(password, salt, iterations).toBase64()));
}

QString hashRecord(const QString& password, int iterations)
{
    QByteArray salt(kSaltBytes, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32*>(salt.data()), kSaltBytes / 4);
    return hashRecord(password, salt, iterations);
}

bool isHashed(const QString& record)
{
    return parse(record).has_value();
}

bool matches(const QString& record, const QString& typed)
{
    if (const auto p = parse(record))
        return sameBytes(derive(typed, p->salt, p->iterations), p->hash);
    // An old station's record in clear: digests of equal length, compared in full.
    return sameBytes(digest(typed), digest(record));
}

QString refusal(const QString& first, const QString& second, const QString& otherRecord)
{
    if (first.isEmpty())
        return QStringLiteral("The new password is empty.");
    if (first != second)
        return QStringLiteral("The two entries differ.");
    if (matches(otherRecord, first))
        return QStringLiteral("The user and service passwords must differ.");
    return {};
}

} // namespace tarvek::passwords
