// SPDX-License-Identifier: BSD-3-Clause
// printable_text(): every text becomes one line that shows each character it holds.
#include <qzgui/printable_text.h>

#include <QtTest>

using qz::gui::printable_text;

class tst_printable_text : public QObject {
    Q_OBJECT

private slots:
    void escapes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("shown");
        QTest::newRow("plain") << QStringLiteral("Gain 12 dB") << QStringLiteral("Gain 12 dB");
        QTest::newRow("empty") << QString() << QString();
        QTest::newRow("line feed") << QStringLiteral("a\nb") << QStringLiteral("a\\u000ab");
        QTest::newRow("carriage return, tab") << QStringLiteral("\r\t") << QStringLiteral("\\u000d\\u0009");
        QTest::newRow("nul") << (QStringLiteral("x") + QChar(0) + QStringLiteral("y"))
                             << QStringLiteral("x\\u0000y");
        QTest::newRow("delete and C1") << (QString(QChar(0x7F)) + QChar(0x85) + QChar(0x9F) + QChar(0xA0))
                                       << (QStringLiteral("\\u007f\\u0085\\u009f") + QChar(0xA0));
        QTest::newRow("separators") << (QString(QChar(0x2028)) + QChar(0x2029))
                                    << QStringLiteral("\\u2028\\u2029");
        QTest::newRow("backslash") << QStringLiteral("C:\\u0041\\") << QStringLiteral("C:\\\\u0041\\\\");
        QTest::newRow("whole pair") << QStringLiteral("\U0001F600") << QStringLiteral("\U0001F600");
        QTest::newRow("lone high") << (QStringLiteral("a") + QChar(0xD83D)) << QStringLiteral("a\\ud83d");
        QTest::newRow("lone low") << (QString(QChar(0xDE00)) + QStringLiteral("b"))
                                  << QStringLiteral("\\ude00b");
        QTest::newRow("swapped pair")
            << (QString(QChar(0xDE00)) + QChar(0xD83D)) << QStringLiteral("\\ude00\\ud83d");
    }

    void escapes()
    {
        QFETCH(QString, text);
        QFETCH(QString, shown);
        QCOMPARE(printable_text(text), shown);
    }

    void a_failure_detail_is_what_follows_the_place()
    {
        using qz::gui::failure_detail;
        QCOMPARE(failure_detail(
                     QStringLiteral("tcp://127.0.0.1:1502 unit 1, holding 2 to 2: Modbus exception 0x02 "
                                    "(illegal data address)")),
                 QStringLiteral("Modbus exception 0x02 (illegal data address)"));
        QCOMPARE(failure_detail(QStringLiteral("parameter 0x0003 (Gain): read-only")),
                 QStringLiteral("read-only"));
        QCOMPARE(failure_detail(QStringLiteral("a: b: c")), QStringLiteral("b: c"));
        QCOMPARE(failure_detail(QStringLiteral("stopped")), QString());
        QCOMPARE(failure_detail(QString()), QString());
    }

    void every_character_reads_back()
    {
        // Undoing the two rules gives the text back, for every UTF-16 unit.
        QString all;
        for (int u = 0; u <= 0xFFFF; ++u)
            all += QChar(ushort(u));
        const QString shown = printable_text(all);
        QString back;
        for (int i = 0; i < shown.size(); ++i) {
            if (shown[i] != QLatin1Char('\\')) {
                back += shown[i];
            } else if (shown[i + 1] == QLatin1Char('\\')) {
                back += QLatin1Char('\\');
                ++i;
            } else {
                QCOMPARE(shown[i + 1], QLatin1Char('u'));
                back += QChar(ushort(shown.mid(i + 2, 4).toUInt(nullptr, 16)));
                i += 5;
            }
        }
        QCOMPARE(back, all);
        QVERIFY(!shown.contains(QLatin1Char('\n')));
    }
};

QTEST_APPLESS_MAIN(tst_printable_text)
#include "tst_printable_text.moc"
