// SPDX-License-Identifier: BSD-3-Clause
// The log controller with a real list widget, real files in a temporary directory and a real INI
// settings store. Every test points "common/log_location" at a directory of its own.
#include "qzgui/log_controller.h"
#include "temporary_settings.h"

#include <qzgui/settings_keys.h>

#include <QDir>
#include <QListWidget>
#include <QProcess>
#include <QRegularExpression>
#include <QtTest>

#include <cstdio>
#include <memory>

using qz::gui::log_controller;
using qz::gui::log_item;

namespace {

const char hang_child[] = "--batch-with-limit";
const char locale_child[] = "--lines-in-system-locale";
const QString log_time_format = QStringLiteral("yyyy-MM-dd HH:mm:ss,zzz  ");
const QString stamp = QStringLiteral("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d,\\d{3}  ");
constexpr int batch_timeout_ms = 20000;

QByteArray read_file(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList rows(const QListWidget& list)
{
    QStringList texts;
    for (int row = 0; row < list.count(); ++row)
        texts << list.item(row)->text();
    return texts;
}

// The messages of the rows, without time stamp and label.
QStringList messages(const QListWidget& list)
{
    QStringList texts;
    for (const QString& row : rows(list))
        texts << row.mid(31);
    return texts;
}

// Child process: a batch under a limit of 2^31 or more never returns.
int run_limit_child(int argc, char** argv, unsigned int limit)
{
    QApplication app(argc, argv);
    qz::test::temporary_settings settings;
    QTemporaryDir logs;
    settings.set(QLatin1String(qz::gui::log_location_key), logs.path());
    QListWidget list;
    log_controller log(nullptr, QStringLiteral("child"), &list);
    log.set_max_visible_lines(limit);
    log.log(log_item::INFO, QStringLiteral("one"));
    std::printf("logged, %d rows\n", list.count());
    std::fflush(stdout);
    QTimer::singleShot(3000, &app, [&] {
        std::printf("returned, %d rows\n", list.count());
        std::fflush(stdout);
        app.quit();
    });
    return app.exec();
}

// Whether @p line is "<QDateTime::toString of a moment in [from, to]><rest>".
bool rendered_by_qt(const QString& line, const QDateTime& from, const QDateTime& to, const QString& rest)
{
    for (QDateTime moment = from; moment <= to; moment = moment.addMSecs(1))
        if (line == moment.toString(log_time_format) + rest)
            return true;
    return false;
}

// Child process, started under another system locale: the record, the file and the list all show
// the date exactly as QDateTime::toString renders it. Prints what it saw, and exits 1 on a mismatch.
int run_locale_child(int argc, char** argv)
{
    QApplication app(argc, argv);
    qz::test::temporary_settings settings;
    QTemporaryDir logs;
    settings.set(QLatin1String(qz::gui::log_location_key), logs.path());
    int failures = 0;
    const auto report = [&failures](const char* what, const QString& text, bool ok) {
        std::printf("%s %s: %s\n", ok ? "ok" : "MISMATCH", what, text.toUtf8().constData());
        failures += ok ? 0 : 1;
    };

    const QDateTime fixed(QDate(2024, 3, 2), QTime(14, 3, 7, 45));
    const QString record = log_item(log_item::WARN, QStringLiteral("link lost"), fixed).toString();
    report("record", record, record == fixed.toString(log_time_format) + "WARN  link lost");

    QListWidget list;
    const QDateTime before = QDateTime::currentDateTime().addMSecs(-1);
    log_controller log(nullptr, QStringLiteral("locale"), &list);
    log.log(log_item::ERROR, QStringLiteral("in the system locale"));
    const QDateTime after = QDateTime::currentDateTime().addMSecs(1);
    if (!QTest::qWaitFor([&list] { return list.count() == 3; }, batch_timeout_ms))
        report("list rows", QString::number(list.count()), false);
    const QString rest = QStringLiteral("ERROR in the system locale");
    const QList<QByteArray> lines = read_file(log.get_log_file_name()).split('\n');
    report("file", QString::fromUtf8(lines.value(2)),
           lines.size() == 4 && rendered_by_qt(QString::fromUtf8(lines[2]), before, after, rest + "\r"));
    const QString row = list.count() == 3 ? list.item(2)->text() : QString();
    report("list", row, rendered_by_qt(row, before, after, rest));
    // Named after some second from the one before construction to the one after logging.
    const QString stem = logs.path() + QDir::separator() + QStringLiteral("locale-");
    const QString last = after.toString("yyyyMMdd-HHmmss");
    bool named = false;
    for (QDateTime second = before;; second = second.addSecs(1)) {
        const QString stamp = second.toString("yyyyMMdd-HHmmss");
        named = named || log.get_log_file_name() == stem + stamp + ".log";
        if (stamp == last)
            break;
    }
    report("file name", log.get_log_file_name(), named);
    return failures == 0 ? 0 : 1;
}

} // namespace

class tst_log_controller : public QObject {
    Q_OBJECT

    std::unique_ptr<qz::test::temporary_settings> _settings;
    std::unique_ptr<QTemporaryDir> _logs;

    // The one log file in the test's log directory.
    QString log_file() const
    {
        const QStringList files = QDir(_logs->path()).entryList(QDir::Files);
        return files.size() == 1 ? _logs->filePath(files[0]) : QString();
    }

    // The log file's lines after the two that announce it.
    QList<QByteArray> logged_lines() const
    {
        QList<QByteArray> lines = read_file(log_file()).split('\n');
        return lines.mid(2, lines.size() - 3);
    }

private slots:
    void initTestCase() { _settings = std::make_unique<qz::test::temporary_settings>(); }

    void init()
    {
        _settings->clear();
        _logs = std::make_unique<QTemporaryDir>();
        _settings->set(QLatin1String(qz::gui::log_location_key), _logs->path());
    }

    void file_is_named_and_announced()
    {
        const QDateTime before = QDateTime::currentDateTime();
        log_controller log(nullptr, QStringLiteral("monitor"), nullptr);
        const QString name = log.get_log_file_name();
        QCOMPARE(name, log_file());
        const QRegularExpression pattern(
            QRegularExpression::escape(_logs->path() + QDir::separator() + "monitor-")
            + "(\\d{8}-\\d{6})\\.log");
        const auto match = pattern.match(name);
        QVERIFY2(match.hasMatch(), qPrintable(name));
        const QDateTime started = QDateTime::fromString(match.captured(1), QStringLiteral("yyyyMMdd-HHmmss"));
        QVERIFY(started.secsTo(before) <= 1 && before.secsTo(started) <= 60);

        const QString announcement = "Starting log at: " + name;
        const QByteArray bytes = read_file(name);
        const QRegularExpression lines("^" + stamp + "INFO  " + QRegularExpression::escape(announcement)
                                       + "\r\n" + stamp + "INFO  " + QString(announcement.size(), '-')
                                       + "\r\n$");
        QVERIFY2(lines.match(QString::fromUtf8(bytes)).hasMatch(), bytes.constData());
        QVERIFY(!bytes.startsWith("\xEF\xBB\xBF"));
    }

    void lines_are_utf8_with_crlf()
    {
        log_controller log(nullptr, QStringLiteral("bytes"), nullptr);
        log.log(log_item::WARN, QString::fromUtf8("Grüße"));
        log.log(log_item::ERROR, QStringLiteral("two"));
        log.log(log_item::QZTTC, QStringLiteral("trace"));
        const auto lines = logged_lines();
        QCOMPARE(lines.size(), 3);
        QVERIFY(
            QRegularExpression("^" + stamp + "WARN  Grüße\r$").match(QString::fromUtf8(lines[0])).hasMatch());
        QVERIFY(lines[0].endsWith("WARN  Gr\xC3\xBC\xC3\x9F"
                                  "e\r"));
        QVERIFY(lines[1].endsWith("ERROR two\r"));
        QVERIFY(lines[2].endsWith("QZTTC trace\r"));
    }

    void final_carriage_return_data()
    {
        QTest::addColumn<QString>("message");
        QTest::addColumn<QByteArray>("written");
        QTest::newRow("one CR goes") << "abc\r" << QByteArray("abc\r\n");
        QTest::newRow("CR LF stays") << "abc\r\n" << QByteArray("abc\r\n\r\n");
        QTest::newRow("two CRs keep one") << "abc\r\r" << QByteArray("abc\r\r\n");
        QTest::newRow("LF stays") << "abc\n" << QByteArray("abc\n\r\n");
        QTest::newRow("inner CR stays") << "a\rbc" << QByteArray("a\rbc\r\n");
        QTest::newRow("CR alone") << "\r" << QByteArray("INFO  \r\n");
    }

    void final_carriage_return()
    {
        QFETCH(QString, message);
        QFETCH(QByteArray, written);
        log_controller log(nullptr, QStringLiteral("cr"), nullptr);
        log.log(log_item::INFO, message);
        QVERIFY2(read_file(log_file()).endsWith(written),
                 read_file(log_file()).right(20).toHex().constData());
    }

    void message_with_nul_is_cut_with_its_line_end()
    {
        log_controller log(nullptr, QStringLiteral("nul"), nullptr);
        log.log(log_item::INFO, QStringLiteral("ab") + QChar(0) + QStringLiteral("cd"));
        log.log(log_item::INFO, QStringLiteral("next"));
        const QByteArray bytes = read_file(log_file());
        QVERIFY(!bytes.contains("cd"));
        QVERIFY(QRegularExpression("INFO  ab" + stamp.mid(0, stamp.size() - 2) + "  INFO  next\r\n$")
                    .match(QString::fromUtf8(bytes))
                    .hasMatch());
    }

    void large_message_is_written_whole()
    {
        QListWidget list;
        log_controller log(nullptr, QStringLiteral("big"), &list);
        const QString big(10 * 1024 * 1024, QLatin1Char('x'));
        log.log(log_item::INFO, big);
        const QByteArray bytes = read_file(log_file());
        QVERIFY(bytes.endsWith("INFO  " + big.toLatin1() + "\r\n"));
        QTRY_COMPARE_WITH_TIMEOUT(list.count(), 3, batch_timeout_ms);
        QCOMPARE(list.item(2)->text().size(), 31 + big.size());
    }

    void line_breaks_stay_inside_one_entry()
    {
        QListWidget list;
        log_controller log(nullptr, QStringLiteral("lines"), &list);
        log.log(log_item::WARN, QStringLiteral("first\nsecond\r\nthird"));
        QVERIFY(read_file(log_file()).endsWith("WARN  first\nsecond\r\nthird\r\n"));
        QTRY_COMPARE_WITH_TIMEOUT(list.count(), 3, batch_timeout_ms);
        QCOMPARE(messages(list).last(), QStringLiteral("first\nsecond\r\nthird"));
    }

    void without_a_list_only_the_file()
    {
        auto log = std::make_unique<log_controller>(nullptr, QStringLiteral("file-only"), nullptr);
        log->log(log_item::QZTTC, QStringLiteral("hidden from lists, not from files"));
        log->set_is_verbose(true);
        log->log(log_item::INFO, QStringLiteral("plain"));
        QTest::qWait(1000); // past the batch interval: nothing is due
        const auto lines = logged_lines();
        QCOMPARE(lines.size(), 2);
        QVERIFY(lines[0].endsWith("QZTTC hidden from lists, not from files\r"));
        log.reset();
    }

    void missing_directory_is_reported_in_the_list_only()
    {
        const QString missing = _logs->filePath(QStringLiteral("not/there"));
        _settings->set(QLatin1String(qz::gui::log_location_key), missing);
        QListWidget list;
        log_controller log(nullptr, QStringLiteral("lost"), &list);
        QVERIFY(log.get_log_file_name().isEmpty());
        log.log(log_item::ERROR, QStringLiteral("to the list"));
        QTRY_COMPARE_WITH_TIMEOUT(list.count(), 2, batch_timeout_ms);
        QVERIFY(rows(list)[0].endsWith("WARN  Could not create log directory: " + QDir(missing).path()));
        QVERIFY(rows(list)[1].endsWith("ERROR to the list"));
        QVERIFY(!QFileInfo::exists(missing));
        QVERIFY(QDir(_logs->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).isEmpty());
    }

    void unopenable_file_loses_only_its_lines()
    {
        log_controller log(nullptr, QStringLiteral("blocked"), nullptr);
        // A directory holding the name: the tests run as root, so permissions cannot block a file.
        const QString blocked = _logs->filePath(QStringLiteral("blocked.log"));
        QVERIFY(QDir().mkpath(blocked));
        log.set_log_file_name(blocked);
        QCOMPARE(log.get_log_file_name(), blocked);
        log.log(log_item::INFO, QStringLiteral("lost"));
        QVERIFY(QDir().rmdir(blocked));
        log.log(log_item::INFO, QStringLiteral("arrives"));
        const QByteArray bytes = read_file(blocked);
        QVERIFY(QRegularExpression("^" + stamp + "INFO  arrives\r\n$")
                    .match(QString::fromUtf8(bytes))
                    .hasMatch());
    }

    void file_name_redirects_only_later_lines()
    {
        log_controller log(nullptr, QStringLiteral("first"), nullptr);
        const QString first = log.get_log_file_name();
        const QString second = _logs->filePath(QStringLiteral("second.log"));
        log.set_log_file_name(second);
        QVERIFY(!QFileInfo::exists(second));
        log.log(log_item::INFO, QStringLiteral("moved"));
        QVERIFY(read_file(second).endsWith("INFO  moved\r\n"));
        QVERIFY(!read_file(first).contains("moved"));
        log.set_log_file_name(QString());
        log.log(log_item::INFO, QStringLiteral("nowhere"));
        QVERIFY(!read_file(second).contains("nowhere"));
    }

    void existing_file_is_appended_to()
    {
        QString name;
        {
            log_controller log(nullptr, QStringLiteral("again"), nullptr);
            name = log.get_log_file_name();
        }
        const QByteArray before = read_file(name);
        log_controller log(nullptr, QStringLiteral("again"), nullptr);
        log.set_log_file_name(name);
        log.log(log_item::INFO, QStringLiteral("more"));
        QVERIFY(read_file(name).startsWith(before));
    }

    void construction_lines_reach_the_list_after_the_interval()
    {
        QListWidget list;
        log_controller log(nullptr, QStringLiteral("shown"), &list);
        QCOMPARE(list.count(), 0);
        QTest::qWait(400);
        log.log(log_item::INFO, QStringLiteral("in the same burst"));
        QTest::qWait(200);
        QCOMPARE(list.count(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(list.count(), 3, batch_timeout_ms);
        QVERIFY(rows(list)[0].contains("INFO  Starting log at: " + log.get_log_file_name()));
        QCOMPARE(messages(list)[2], QStringLiteral("in the same burst"));
        // The list shows the very lines of the file.
        const QList<QByteArray> file = read_file(log.get_log_file_name()).split('\n');
        for (int row = 0; row < 3; ++row)
            QCOMPARE(rows(list)[row].toUtf8() + '\r', file[row]);
    }

    void colours_by_level()
    {
        QListWidget list;
        log_controller log(nullptr, QStringLiteral("colours"), &list);
        log.set_is_verbose(true);
        log.log(log_item::INFO, QStringLiteral("info"));
        log.log(log_item::WARN, QStringLiteral("warn"));
        log.log(log_item::ERROR, QStringLiteral("error"));
        log.log(log_item::QZTTC, QStringLiteral("trace"));
        QTRY_COMPARE_WITH_TIMEOUT(list.count(), 6, batch_timeout_ms);
        const auto background = [&](int row) { return list.item(row)->background().color(); };
        QCOMPARE(background(2), QColor(Qt::white));
        QVERIFY(!list.item(2)->data(Qt::ForegroundRole).isValid());
        QCOMPARE(background(3), QColor(Qt::yellow));
        QVERIFY(!list.item(3)->data(Qt::ForegroundRole).isValid());
        QCOMPARE(background(4), QColor(Qt::red));
        QCOMPARE(list.item(4)->foreground().color(), QColor(Qt::white));
        QCOMPARE(list.item(4)->foreground().style(), Qt::SolidPattern);
        QCOMPARE(background(5), QColor(Qt::cyan));
        QVERIFY(!list.item(5)->data(Qt::ForegroundRole).isValid());
        QCOMPARE(list.item(4)->type(), int(QListWidgetItem::Type));
        QVERIFY(list.item(4)->icon().isNull());
        QVERIFY(list.item(4)->toolTip().isEmpty());
    }

    void trace_lines_need_verbose()
    {
        QListWidget list;
        log_controller log(nullptr, QStringLiteral("verbose"), &list);
        QVERIFY(!log.get_is_verbose());
        log.log(log_item::QZTTC, QStringLiteral("hidden"));
        log.set_is_verbose(true);
        QVERIFY(log.get_is_verbose());
        log.log(log_item::QZTTC, QStringLiteral("shown"));
        log.set_is_verbose(false);
        log.log(log_item::QZTTC, QStringLiteral("hidden again"));
        QTRY_COMPARE_WITH_TIMEOUT(list.count(), 3, batch_timeout_ms);
        QCOMPARE(messages(list)[2], QStringLiteral("shown"));
        const auto lines = logged_lines();
        QCOMPARE(lines.size(), 3);
        QVERIFY(lines[0].endsWith("QZTTC hidden\r"));
        QVERIFY(lines[2].endsWith("QZTTC hidden again\r"));
    }

    void list_keeps_the_newest_lines_with_the_last_current()
    {
        QListWidget list;
        list.setSelectionMode(QAbstractItemView::ExtendedSelection);
        log_controller log(nullptr, QStringLiteral("bounded"), &list);
        QCOMPARE(log.get_max_visible_lines(), 200u);
        log.set_max_visible_lines(3);
        QCOMPARE(log.get_max_visible_lines(), 3u);
        for (int i = 1; i <= 5; ++i)
            log.log(log_item::INFO, QString::number(i));
        QTRY_COMPARE_WITH_TIMEOUT(list.count(), 3, batch_timeout_ms);
        QCOMPARE(messages(list), QStringList({"3", "4", "5"}));
        QCOMPARE(list.currentRow(), 2);

        list.item(0)->setSelected(true);
        log.log(log_item::INFO, QStringLiteral("6"));
        QTRY_COMPARE_WITH_TIMEOUT(messages(list), QStringList({"4", "5", "6"}), batch_timeout_ms);
        QCOMPARE(list.currentRow(), 2);
        // The earlier selection is gone; the last row is current.
        QVERIFY(!list.item(0)->isSelected());
        QVERIFY(!list.item(1)->isSelected());
    }

    void limit_follows_a_real_batch_state()
    {
        // Whatever the batch does inside, it ends as inserting every entry and then taking the
        // oldest rows one by one would: the same rows, texts, colours and current row.
        QListWidget list;
        log_controller log(nullptr, QStringLiteral("same"), &list);
        log.set_max_visible_lines(7);
        QTRY_COMPARE_WITH_TIMEOUT(list.count(), 2, batch_timeout_ms);
        for (int burst = 0; burst < 3; ++burst) {
            for (int i = 0; i < 4 + burst * 5; ++i)
                log.log(log_item::log_level_e(i % 3), QStringLiteral("%1.%2").arg(burst).arg(i));
            const QString last = QStringLiteral("%1.%2").arg(burst).arg(3 + burst * 5);
            QTRY_COMPARE_WITH_TIMEOUT(messages(list).last(), last, batch_timeout_ms);
        }
        QCOMPARE(messages(list), QStringList({"2.7", "2.8", "2.9", "2.10", "2.11", "2.12", "2.13"}));
        QCOMPARE(list.item(1)->background().color(), QColor(Qt::red));   // 2.8: ERROR
        QCOMPARE(list.item(2)->background().color(), QColor(Qt::white)); // 2.9: INFO
        QCOMPARE(list.currentRow(), 6);
    }

    void item_widgets_of_trimmed_rows_are_removed()
    {
        QListWidget list;
        log_controller log(nullptr, QStringLiteral("widgets"), &list);
        log.set_max_visible_lines(2);
        QTRY_COMPARE_WITH_TIMEOUT(list.count(), 2, batch_timeout_ms);
        QPointer<QWidget> marker = new QWidget;
        list.setItemWidget(list.item(0), marker);
        log.log(log_item::INFO, QStringLiteral("pushes the first row out"));
        QTRY_COMPARE_WITH_TIMEOUT(messages(list).last(), QStringLiteral("pushes the first row out"),
                                  batch_timeout_ms);
        QTRY_VERIFY_WITH_TIMEOUT(marker.isNull(), batch_timeout_ms);
    }

    void zero_limit_empties_the_list_every_batch()
    {
        QListWidget list;
        log_controller log(nullptr, QStringLiteral("zero"), &list);
        log.set_max_visible_lines(0);
        log.log(log_item::INFO, QStringLiteral("gone"));
        QTest::qWait(1500);
        QCOMPARE(list.count(), 0);
        QVERIFY(list.selectedItems().isEmpty());
        QCOMPARE(list.currentRow(), -1);
    }

    void lowered_limit_applies_at_the_next_batch()
    {
        QListWidget list;
        log_controller log(nullptr, QStringLiteral("lower"), &list);
        for (int i = 0; i < 3; ++i)
            log.log(log_item::INFO, QString::number(i));
        QTRY_COMPARE_WITH_TIMEOUT(list.count(), 5, batch_timeout_ms);
        log.set_max_visible_lines(2);
        QTest::qWait(1200);
        QCOMPARE(list.count(), 5);
        log.log(log_item::INFO, QStringLiteral("3"));
        QTRY_COMPARE_WITH_TIMEOUT(messages(list), QStringList({"2", "3"}), batch_timeout_ms);
    }

    void largest_signed_limit_still_returns()
    {
        QListWidget list;
        log_controller log(nullptr, QStringLiteral("largest"), &list);
        log.set_max_visible_lines(2147483647u);
        log.log(log_item::INFO, QStringLiteral("kept"));
        QTRY_COMPARE_WITH_TIMEOUT(list.count(), 3, batch_timeout_ms);
    }

    void limit_of_2_pow_31_never_returns_from_its_batch()
    {
        const auto run = [](const QString& limit, bool* finished) {
            QProcess child;
            child.start(QCoreApplication::applicationFilePath(), {QString::fromLatin1(hang_child), limit});
            if (!child.waitForStarted(60000))
                return QByteArray("not started");
            *finished = child.waitForFinished(8000);
            if (!*finished) {
                child.kill();
                child.waitForFinished(60000);
            }
            return child.readAllStandardOutput();
        };
        bool finished = true;
        const QByteArray hung = run(QStringLiteral("2147483648"), &finished);
        QVERIFY2(!finished, hung.constData());
        QVERIFY2(hung.contains("logged, 0 rows"), hung.constData());
        QVERIFY2(!hung.contains("returned"), hung.constData());

        // The same child with the largest signed limit returns, so the hang is the limit's.
        const QByteArray returned = run(QStringLiteral("2147483647"), &finished);
        QVERIFY2(finished, returned.constData());
        QVERIFY2(returned.contains("returned, 3 rows"), returned.constData());
    }

    void cached_entries_are_freed_with_the_controller()
    {
        QListWidget list;
        {
            log_controller log(nullptr, QStringLiteral("early"), &list);
            for (int i = 0; i < 50; ++i)
                log.log(log_item::WARN, QStringLiteral("never shown"));
        }
        QTest::qWait(1000);
        QCOMPARE(list.count(), 0);
    }

    void shown_entries_stay_with_the_list()
    {
        QListWidget list;
        {
            log_controller log(nullptr, QStringLiteral("stays"), &list);
            QTRY_COMPARE_WITH_TIMEOUT(list.count(), 2, batch_timeout_ms);
        }
        QCOMPARE(list.count(), 2);
        QVERIFY(rows(list)[0].contains("Starting log at: "));
    }

    void clear_then_cached_entries_arrive_and_the_file_stays()
    {
        QListWidget list;
        log_controller log(nullptr, QStringLiteral("clear"), &list);
        QTRY_COMPARE_WITH_TIMEOUT(list.count(), 2, batch_timeout_ms);
        const QByteArray before = read_file(log.get_log_file_name());
        log.log(log_item::INFO, QStringLiteral("waiting"));
        list.clear();
        QCOMPARE(list.count(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(messages(list), QStringList({"waiting"}), batch_timeout_ms);
        // The file holds what it held, plus the one line logged since.
        const QByteArray after = read_file(log.get_log_file_name());
        QVERIFY(after.startsWith(before));
        QCOMPARE(after.count('\n'), before.count('\n') + 1);
        QVERIFY(after.endsWith("INFO  waiting\r\n"));
    }

    void dates_follow_the_system_locale_like_qt_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("record");
        // Qt 5 renders a date format with the system locale's digits, Qt 6 with the C locale's.
        const bool qt5 = QT_VERSION_MAJOR == 5;
        QTest::newRow("ar_EG") << "ar_EG.UTF-8"
                               << (qt5 ? QString::fromUtf8("٢٠٢٤-٠٣-٠٢ ١٤:٠٣:٠٧,٠٤٥  WARN  link lost")
                                       : QStringLiteral("2024-03-02 14:03:07,045  WARN  link lost"));
        QTest::newRow("fa_IR") << "fa_IR.UTF-8"
                               << (qt5 ? QString::fromUtf8("۲۰۲۴-۰۳-۰۲ ۱۴:۰۳:۰۷,۰۴۵  WARN  link lost")
                                       : QStringLiteral("2024-03-02 14:03:07,045  WARN  link lost"));
        QTest::newRow("de_DE") << "de_DE.UTF-8"
                               << "2024-03-02 14:03:07,045  WARN  link lost";
        QTest::newRow("C") << "C"
                           << "2024-03-02 14:03:07,045  WARN  link lost";
    }

    void dates_follow_the_system_locale_like_qt()
    {
        QFETCH(QString, locale);
        QFETCH(QString, record);
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("LC_ALL"), locale);
        child.setProcessEnvironment(environment);
        child.start(QCoreApplication::applicationFilePath(), {QString::fromLatin1(locale_child)});
        QVERIFY(child.waitForFinished(120000));
        const QString output = QString::fromUtf8(child.readAllStandardOutput());
        QVERIFY2(child.exitStatus() == QProcess::NormalExit && child.exitCode() == 0, qPrintable(output));
        QVERIFY2(output.contains("ok record: " + record + "\n"), qPrintable(output));
        QVERIFY2(output.contains("ok file: ") && output.contains("ok list: "), qPrintable(output));
    }

    void list_gets_the_context_menu()
    {
        QListWidget list;
        log_controller log(nullptr, QStringLiteral("menu"), &list);
        QCOMPARE(list.contextMenuPolicy(), Qt::CustomContextMenu);
    }
};

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        if (i + 1 < argc && qstrcmp(argv[i], hang_child) == 0)
            return run_limit_child(argc, argv, QByteArray(argv[i + 1]).toUInt());
        if (qstrcmp(argv[i], locale_child) == 0)
            return run_locale_child(argc, argv);
    }
    QApplication app(argc, argv);
    tst_log_controller test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_log_controller.moc"
