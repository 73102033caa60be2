// The value entry's checks in their order, and Timer17.
#include "setpoints/value_entry.h"
#include "test_registry.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace tarvek;

class SetPointsTest : public QObject {
    Q_OBJECT
private slots:
    // The motor speed's limits compared as texts; a register's, compared as numbers, are typed into
    // the Saisie form in the FadecParameters case, and 12.5, 999 and 10000 in the set-point forms'.
    void entriesAreCheckedInOrder_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("refusal"); // empty: accepted
        const QString limits = entry_texts::kOutsideLimits, digits = entry_texts::kNotDigits;
        QTest::newRow("1000") << "1000" << "";
        QTest::newRow("4000") << "4000" << "";
        QTest::newRow("4001") << "4001" << limits;
        QTest::newRow("-5") << "-5" << digits;
        QTest::newRow("blank inside") << "30 0" << digits;
        QTest::newRow("empty sorts below the minimum") << "" << limits;
    }
    void entriesAreCheckedInOrder()
    {
        QFETCH(QString, text);
        QFETCH(QString, refusal);
        ValueEntry entry;
        QStringList accepted;
        entry.open({"hint", "1000", "4000", true, [&](const QString& t) { accepted << t; }});
        QSignalSpy warnings(&entry, &ValueEntry::warning);
        QSignalSpy closed(&entry, &ValueEntry::closed);
        QCOMPARE(entry.validate(text), refusal.isEmpty());
        if (refusal.isEmpty()) {
            QCOMPARE(accepted, QStringList{text});
            QCOMPARE(closed.size(), 1);
            QVERIFY(!entry.timer17()->isActive());
            QVERIFY(warnings.isEmpty());
        } else {
            QVERIFY(accepted.isEmpty());
            QVERIFY(entry.isOpen());
            QVERIFY(entry.timer17()->isActive());
            QCOMPARE(warnings.size(), 1);
            QCOMPARE(warnings.at(0), (QVariantList{" Warning!", refusal}));
        }
    }

    void anUntouchedEntryIsCancelledByTimer17()
    {
        ValueEntry entry;
        bool called = false;
        entry.open({"By not 100", "1000", "4000", true, [&](const QString&) { called = true; }});
        QVERIFY(entry.timer17()->isActive());
        QSignalSpy closed(&entry, &ValueEntry::closed);
        entry.timer17()->setInterval(1);
        entry.edited();
        QVERIFY(closed.wait(5'000));
        QCOMPARE(closed.at(0).at(0).toBool(), false);
        QVERIFY(!entry.isOpen());
        QVERIFY(!entry.validate("2000"));
        QVERIFY(!called);
    }
};

TARVEK_TEST(SetPointsTest)
#include "tst_setpoints.moc"
