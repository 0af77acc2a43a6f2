// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/log_item.h"

#include <QDateTime>
#include <QtTest>

#include <memory>
#include <type_traits>

using qz::gui::log_item;

static_assert(!std::is_copy_assignable_v<log_item>);
static_assert(std::is_copy_constructible_v<log_item>);
static_assert(sizeof(log_item::log_level_e) == 4);

namespace {

const QDateTime march_2nd(QDate(2024, 3, 2), QTime(14, 3, 7, 45));

} // namespace

class tst_log_item : public QObject {
    Q_OBJECT

private slots:
    void levels_have_fixed_numbers()
    {
        QCOMPARE(int(log_item::INFO), 0);
        QCOMPARE(int(log_item::WARN), 1);
        QCOMPARE(int(log_item::ERROR), 2);
        QCOMPARE(int(log_item::QZTTC), 3);
    }

    void lines_data()
    {
        QTest::addColumn<int>("level");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("line");
        QTest::newRow("warn") << 1 << "link lost"
                              << "2024-03-02 14:03:07,045  WARN  link lost";
        QTest::newRow("error") << 2 << "link lost"
                               << "2024-03-02 14:03:07,045  ERROR link lost";
        QTest::newRow("info") << 0 << "ok"
                              << "2024-03-02 14:03:07,045  INFO  ok";
        QTest::newRow("trace") << 3 << "tx 01 02"
                               << "2024-03-02 14:03:07,045  QZTTC tx 01 02";
        QTest::newRow("empty message") << 0 << ""
                                       << "2024-03-02 14:03:07,045  INFO  ";
        QTest::newRow("line breaks stay") << 1 << "a\nb\r\nc"
                                          << "2024-03-02 14:03:07,045  WARN  a\nb\r\nc";
        QTest::newRow("untrimmed") << 2 << "  x  "
                                   << "2024-03-02 14:03:07,045  ERROR   x  ";
        QTest::newRow("unknown level, empty label") << 7 << "?"
                                                    << "2024-03-02 14:03:07,045   ?";
    }

    void lines()
    {
        QFETCH(int, level);
        QFETCH(QString, message);
        const log_item item(log_item::log_level_e(level), message, march_2nd);
        QTEST(item.toString(), "line");
        QCOMPARE(item.get_message(), message);
        QCOMPARE(int(item.get_log_level()), level);
        QCOMPARE(item.get_date(), march_2nd);
    }

    void time_format_data()
    {
        QTest::addColumn<QDateTime>("date");
        QTest::addColumn<QString>("prefix");
        QTest::newRow("24-hour clock, padded")
            << QDateTime(QDate(2025, 12, 31), QTime(23, 59, 59, 999)) << "2025-12-31 23:59:59,999  ";
        QTest::newRow("midnight") << QDateTime(QDate(2024, 1, 5), QTime(0, 0, 0, 0))
                                  << "2024-01-05 00:00:00,000  ";
        QTest::newRow("early year") << QDateTime(QDate(812, 7, 9), QTime(8, 7, 6, 5))
                                    << "0812-07-09 08:07:06,005  ";
    }

    void time_format()
    {
        QFETCH(QDateTime, date);
        QFETCH(QString, prefix);
        const log_item item(log_item::INFO, QStringLiteral("m"), date);
        QCOMPARE(item.toString(), prefix + "INFO  m");
    }

    void copy_is_independent_of_its_source()
    {
        auto source = std::make_unique<log_item>(log_item::ERROR, QStringLiteral("gone"), march_2nd);
        const log_item copy(*source);
        const QString line = source->toString();
        source.reset();
        QCOMPARE(copy.toString(), line);
        QCOMPARE(copy.get_log_level(), log_item::ERROR);
        QCOMPARE(copy.get_message(), QStringLiteral("gone"));
    }

    void default_record_is_info_made_now()
    {
        const QDateTime before = QDateTime::currentDateTime();
        const log_item item;
        const QDateTime after = QDateTime::currentDateTime();
        QCOMPARE(item.get_log_level(), log_item::INFO);
        QVERIFY(item.get_message().isEmpty());
        QVERIFY(item.get_date() >= before);
        QVERIFY(item.get_date() <= after);
        QCOMPARE(item.get_date().timeSpec(), Qt::LocalTime);
        QVERIFY(item.toString().endsWith(QLatin1String("INFO  ")));
    }
};

QTEST_GUILESS_MAIN(tst_log_item)
#include "tst_log_item.moc"
