// SPDX-License-Identifier: BSD-3-Clause
// A worker's reports about whole operations in the log, and the one line a failure gets.
#include "worker_fixture.h"

#include "qzgui/log_controller.h"
#include "qzgui/resource_manager.h"
#include "qzgui/settings_keys.h"
#include "qzgui/worker_log.h"
#include "qzgui/worker_report_log.h"
#include "qzgui/worker_thread.h"

#include <QFile>
#include <QListWidget>
#include <QTemporaryDir>
#include <QtTest>

using qz::gui::error_descriptor;
using qz::gui::sat_worker;

namespace {

// The messages of the log file's lines, without time and level.
QStringList messages(const QString& file_name)
{
    QFile file(file_name);
    if (!file.open(QIODevice::ReadOnly))
        return {QStringLiteral("cannot read the log")};
    QStringList out;
    for (const QByteArray& line : file.readAll().split('\n')) {
        // "2026-11-24 23:04:40,657  INFO  message": the time takes 23 characters, then the level.
        const QString rest = QString::fromUtf8(line).mid(23).trimmed();
        const int level_end = rest.indexOf(QLatin1Char(' '));
        if (level_end > 0)
            out.append(rest.mid(level_end).trimmed());
    }
    return out;
}

error_descriptor proto_failure(int kind, const QString& message)
{
    const qz::api::proto::proto_exception e(qz::api::proto::proto_exception::exception_type_e(kind),
                                            message.toStdString());
    return error_descriptor(nullptr, &e, nullptr);
}

} // namespace

class tst_worker_log : public QObject {
    Q_OBJECT

    qz::test::worker_environment _environment;
    QTemporaryDir _logs;
    int _operations = 0;

    // Counts the worker's operation phases as they arrive here, queued, as a window sees them.
    const int& count_operations(sat_worker* worker)
    {
        _operations = 0;
        connect(worker, &sat_worker::on_operation_control, this, [this] { ++_operations; });
        return _operations;
    }

private slots:
    void initTestCase()
    {
        qz::gui::register_meta_types();
        _environment.settings.set(QLatin1String(qz::gui::log_location_key), _logs.path());
    }

    void phases_states_and_failures_are_logged()
    {
        qz::sim::simulated_module module;
        module.store(1, 42);
        QListWidget list;
        qz::gui::log_controller log(nullptr, QStringLiteral("worker_log"), &list);
        qz::gui::resource_manager texts;
        qz::gui::worker_thread thread(std::make_unique<qz::sim::simulated_worker>(nullptr, &module));
        QObject context;
        qz::gui::log_worker_reports(thread.worker(), &log, &texts, &context);
        const int& operations = count_operations(thread.worker());

        emit thread.worker()->get_params({1});
        QTRY_COMPARE_WITH_TIMEOUT(operations, 2, 30000);
        module.fail_next_connect(qz::sim::fault_t::media(qz::api::proto::media_exception::open_failed,
                                                         "COM7: port gone\ncable out"));
        emit thread.worker()->get_params({1});
        QTRY_COMPARE_WITH_TIMEOUT(operations, 4, 30000);
        thread.end();
        QCoreApplication::sendPostedEvents(&context, QEvent::MetaCall);

        const QStringList lines = messages(log.get_log_file_name());
        const int begin = int(lines.indexOf(QStringLiteral("begin of READ operation")));
        QVERIFY2(begin >= 0, qPrintable(lines.join('\n')));
        QCOMPARE(lines.mid(begin, 5),
                 (QStringList{"begin of READ operation", "connection: connecting", "connection: connected",
                              "connection: disconnected", "end of READ operation"}));
        const QStringList failed = lines.filter(QStringLiteral("connection error: "));
        QVERIFY2(failed.size() == 1, qPrintable(lines.join('\n')));
        // One line: the device's message is made printable, after the catalogue's text.
        QVERIFY2(!failed.first().contains(QLatin1Char('\n')), qPrintable(failed.first()));
        QVERIFY2(failed.first().contains(QLatin1String(": port gone")), qPrintable(failed.first()));
    }

    void the_reports_can_be_switched_off_and_on()
    {
        qz::sim::simulated_module module;
        module.store(1, 42);
        QListWidget list;
        qz::gui::log_controller log(nullptr, QStringLiteral("worker_report_log"), &list);
        qz::gui::resource_manager texts;
        qz::gui::worker_thread thread(std::make_unique<qz::sim::simulated_worker>(nullptr, &module));
        qz::gui::worker_report_log reports(thread.worker(), &log, &texts);
        QVERIFY(reports.is_enabled());
        const int& operations = count_operations(thread.worker());
        const auto read_once = [&] {
            const int before = operations;
            emit thread.worker()->get_params({1});
            QTRY_COMPARE_WITH_TIMEOUT(operations, before + 2, 30000);
            QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
        };
        read_once();
        reports.set_enabled(false);
        QVERIFY(!reports.is_enabled());
        read_once();
        read_once();
        reports.set_enabled(true);
        reports.set_enabled(true); // once is enough: no line twice
        read_once();
        thread.end();
        const QStringList lines = messages(log.get_log_file_name());
        QCOMPARE(lines.filter(QStringLiteral("begin of READ operation")).size(), 2);
        QCOMPARE(lines.filter(QStringLiteral("end of READ operation")).size(), 2);
        QCOMPARE(lines.filter(QStringLiteral("connection: connected")).size(), 2);
    }

    void a_failure_line_adds_what_the_device_said()
    {
        qz::gui::resource_manager texts;
        texts.set_verbose_level(0);
        const error_descriptor modbus = proto_failure(
            5, QStringLiteral("tcp://127.0.0.1:1502 unit 1, holding 8 to 8: Modbus exception 0x02"));
        const QString kind = texts.get_error_descriptor_string(modbus);
        QCOMPARE(qz::gui::failure_line(texts, modbus), kind + QStringLiteral(": Modbus exception 0x02"));
        // A message that names no place adds nothing.
        QCOMPARE(qz::gui::failure_line(texts, proto_failure(5, QStringLiteral("read-only"))), kind);
        // Verbose, the whole message stands there once.
        texts.set_verbose_level(5);
        QCOMPARE(
            qz::gui::failure_line(texts, modbus),
            kind + QStringLiteral(": tcp://127.0.0.1:1502 unit 1, holding 8 to 8: Modbus exception 0x02"));
        // Any level below that, the detail.
        texts.set_verbose_level(3);
        QCOMPARE(qz::gui::failure_line(texts, modbus), kind + QStringLiteral(": Modbus exception 0x02"));
        texts.set_verbose_level(0);
        QCOMPARE(qz::gui::failure_line(texts, proto_failure(5, QStringLiteral("place: a\nb"))),
                 kind + QStringLiteral(": a\\u000ab"));
    }
};

QTEST_MAIN(tst_worker_log)
#include "tst_worker_log.moc"
