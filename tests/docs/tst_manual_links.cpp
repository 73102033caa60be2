// The manual holds together: every link of README.md and docs/*.md to a page or a picture names a
// file that exists, and a link to a heading (page.md#heading, #heading) names a heading of that page.
#include "test_registry.h"
#include "test_support.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

using tarvek::test::readBytes;

namespace {
// A heading's anchor as the web hosts of the repository spell it: lower case, punctuation but - and
// _ dropped, each blank a -.
QSet<QString> anchorsOf(const QString& text)
{
    QSet<QString> anchors;
    static const QRegularExpression heading(QStringLiteral("^#+ +(.*)$"), QRegularExpression::MultilineOption);
    for (const auto& m : heading.globalMatch(text)) {
        QString a = m.captured(1).trimmed().toLower();
        a.remove(QRegularExpression(QStringLiteral("[^\\w\\- ]"))).replace(QLatin1Char(' '), QLatin1Char('-'));
        anchors << a;
    }
    return anchors;
}

// The text a reader sees as prose: code blocks (fenced or indented) and inline code hold no links.
QString withoutCode(QString text)
{
    text.remove(QRegularExpression(QStringLiteral("```.*?```"), QRegularExpression::DotMatchesEverythingOption));
    text.remove(QRegularExpression(QStringLiteral("^(    |\\t).*$"), QRegularExpression::MultilineOption));
    return text.remove(QRegularExpression(QStringLiteral("`[^`\\n]*`")));
}
} // namespace

class ManualLinksTest : public QObject {
    Q_OBJECT
private slots:
    void everyLinkLeadsSomewhere()
    {
        const QDir root(QStringLiteral(TARVEK_SOURCE_DIR));
        QStringList pages{root.filePath(QStringLiteral("README.md"))};
        for (const QString& name : QDir(root.filePath(QStringLiteral("docs"))).entryList({"*.md"}, QDir::Files))
            pages << root.filePath(QStringLiteral("docs/") + name);
        static const QRegularExpression link(QStringLiteral("\\]\\(([^)\\s]+)[^)]*\\)"));
        QStringList dead;
        int links = 0;
        for (const QString& page : pages) {
            const QString text = QString::fromUtf8(readBytes(page));
            QVERIFY2(!text.isEmpty(), qPrintable(page));
            for (const auto& m : link.globalMatch(withoutCode(text))) {
                const QString target = m.captured(1);
                if (target.contains(QRegularExpression(QStringLiteral("^(https?|mailto):"))))
                    continue;
                ++links;
                const QString path = target.section(QLatin1Char('#'), 0, 0);
                const QString anchor = target.section(QLatin1Char('#'), 1);
                const QString file = path.isEmpty() ? page : QFileInfo(page).dir().filePath(path);
                const QString where = root.relativeFilePath(page) + QStringLiteral(": ") + target;
                if (!QFileInfo::exists(file))
                    dead << where + QStringLiteral(" (no such file)");
                else if (!anchor.isEmpty() && file.endsWith(QLatin1String(".md")) &&
                         !anchorsOf(QString::fromUtf8(readBytes(file))).contains(anchor))
                    dead << where + QStringLiteral(" (no such heading)");
            }
        }
        QVERIFY2(dead.isEmpty(), qPrintable(dead.join(QLatin1Char('\n'))));
        QVERIFY2(links > 0, "no link found: the reader of the manual lost its way");
    }
};

TARVEK_TEST(ManualLinksTest)
#include "tst_manual_links.moc"
