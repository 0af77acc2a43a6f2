// SPDX-License-Identifier: BSD-3-Clause
// Monitoring for a minute: 1,000 parameters of qz-modbus-device polled back to back into a history
// and a CSV file, with the device killed and restarted on its port twice. Polling resumes by itself
// each time, and the history holds no more than its span. CI runs it under ASan and UBSan.
// QZGUI_SOAK_SECONDS sets the length (60 unless set).
#include "modbus_fixture.h"
#include "temporary_settings.h"

#include <qzgui/modbus/modbus_module.h>
#include <qzgui/modbus/modbus_worker.h>
#include <qzgui/modbus/register_map.h>
#include <qzgui/poller.h>
#include <qzgui/sample_history.h>
#include <qzgui/sample_recorder.h>
#include <qzgui/worker_thread.h>

#include <QtTest>

#include <algorithm>
#include <memory>

using qz::gui::sat_worker;
using qz::test::device_process;

namespace {

constexpr int parameters = 1000;
constexpr qint64 span_ms = 5000;

QByteArray map_text()
{
    QByteArray text = "{\"version\": 1, \"parameters\": [\n";
    int address = 0;
    for (int i = 0; i < parameters; ++i) {
        const bool wide = i % 3 == 1;
        text += QStringLiteral("{\"id\": %1, \"table\": \"holding\", \"address\": %2, \"type\": \"%3\", "
                               "\"initial\": %4}%5\n")
                    .arg(i + 1)
                    .arg(address)
                    .arg(wide ? QStringLiteral("float32") : QStringLiteral("int16"))
                    .arg(wide ? i * 0.5 : -i)
                    .arg(i + 1 < parameters ? QStringLiteral(",") : QString())
                    .toUtf8();
        address += wide ? 2 : 1;
    }
    return text + "]}\n";
}

} // namespace

class tst_monitoring_soak : public QObject {
    Q_OBJECT

    qz::test::temporary_settings _settings;
    QTemporaryDir _dir;

private slots:
    void initTestCase() { qz::gui::register_meta_types(); }

    void a_minute_of_polling_through_two_device_restarts()
    {
        const int seconds = qEnvironmentVariableIsSet("QZGUI_SOAK_SECONDS")
            ? std::max(qEnvironmentVariableIntValue("QZGUI_SOAK_SECONDS"), 12)
            : 60;
        const QString map_path = _dir.filePath(QStringLiteral("map.json"));
        QVERIFY(qz::test::write_text(map_path, map_text()));
        const auto map = qz::modbus::register_map::load(map_path);
        auto device = std::make_unique<device_process>();
        QVERIFY(device->start(map_path));
        const QString address = device->address();
        const QString port = address.section(QLatin1Char(':'), 2).section(QLatin1Char('?'), 0, 0);

        qz::modbus::modbus_module module(address);
        qz::gui::worker_thread thread(std::make_unique<qz::modbus::modbus_worker>(nullptr, &module, map));
        qz::gui::poller poller(thread.worker());
        qz::gui::sample_history history(span_ms);
        const QString csv = _dir.filePath(QStringLiteral("soak.csv"));
        auto recorder = std::make_unique<qz::gui::sample_recorder>(csv, map.descriptions());
        int faults = 0;
        connect(recorder.get(), &qz::gui::sample_recorder::on_fault, this, [&] { ++faults; });

        long long values = 0;
        long long failures = 0;
        int sweeps = 0;
        QVector<qint64> sweep_ends;
        QStringList links;
        connect(&poller, &qz::gui::poller::on_sample, this,
                [&](uint32_t id, const QVariant& value, qint64 time) {
                    ++values;
                    history.add(id, time, value.toDouble());
                    recorder->add(id, value, time);
                });
        connect(&poller, &qz::gui::poller::on_sample_error, this,
                [&](uint32_t id, const qz::gui::error_descriptor&, qint64 time) {
                    ++failures;
                    history.add_gap(id, time);
                    recorder->add_error(id, time);
                });
        // Per sweep, what it reported: every parameter, nothing (the device away), or a part (cut short).
        int whole = 0, empty = 0, cut = 0;
        long long reported_before = 0;
        connect(&poller, &qz::gui::poller::on_request_end, this,
                [&](sat_worker::operation_type_e, bool sweep) {
                    if (!sweep)
                        return;
                    ++sweeps;
                    sweep_ends.append(QDateTime::currentMSecsSinceEpoch());
                    const long long reported = values + failures - reported_before;
                    reported_before = values + failures;
                    (reported == parameters ? whole : reported == 0 ? empty : cut) += 1;
                });
        connect(&poller, &qz::gui::poller::on_link, this, [&](bool up, const QString&) {
            links.append(up ? QStringLiteral("up") : QStringLiteral("down"));
        });

        QElapsedTimer clock;
        clock.start();
        const qint64 total_ms = seconds * 1000LL;
        poller.start(map.ids(), 0);
        // Two outages: killed at a quarter and at a half of the run, back some seconds later.
        for (const double at : {0.25, 0.55}) {
            QTest::qWait(int(std::max<qint64>(0, qint64(total_ms * at) - clock.elapsed())));
            const int sweeps_before = sweeps;
            QVERIFY2(sweeps_before > 0, "no sweep before the outage");
            device->kill();
            QTRY_VERIFY_WITH_TIMEOUT(links.size() % 2 == 1, 30000);
            QTest::qWait(3000);
            device = std::make_unique<device_process>();
            QVERIFY(device->start(map_path, QStringLiteral("tcp://127.0.0.1:%1").arg(port)));
            QTRY_VERIFY_WITH_TIMEOUT(links.size() % 2 == 0, 30000);
            const int sweeps_back = sweeps;
            QTRY_VERIFY_WITH_TIMEOUT(sweeps >= sweeps_back + 3, 30000);
        }
        QTest::qWait(int(std::max<qint64>(0, total_ms - clock.elapsed())));
        poller.stop();
        // The sweep in progress ends, and its reports arrive.
        thread.end();
        QTest::qWait(200);

        QCOMPARE(links, (QStringList{"down", "up", "down", "up"}));
        QVERIFY(sweeps >= 20);
        // Every sweep reported every parameter, except those the device was away for and at most the
        // one each kill cut short.
        const QString counts = QStringLiteral("%1 sweeps: %2 whole, %3 empty, %4 cut; %5 failures")
                                   .arg(sweeps)
                                   .arg(whole)
                                   .arg(empty)
                                   .arg(cut)
                                   .arg(failures);
        QVERIFY2(cut <= 2 && empty >= 2 && whole >= sweeps - empty - 2, qPrintable(counts));
        QVERIFY2(failures <= 2 * qint64(parameters), qPrintable(counts));

        // The history holds its span and no more: per id, the samples of at most the sweeps that
        // ended within the span before its newest, and one gap for each failure there.
        const qint64 newest = history.newest_time(1);
        const auto recent = int(std::count_if(sweep_ends.begin(), sweep_ends.end(),
                                              [&](qint64 t) { return t >= newest - span_ms; }));
        for (const uint32_t id : map.ids()) {
            QVERIFY2(history.size(id) <= recent + 4,
                     qPrintable(QStringLiteral("0x%1: %2 held, %3 sweeps in the span")
                                    .arg(id, 0, 16)
                                    .arg(history.size(id))
                                    .arg(recent)));
            const QVector<QPointF> held = history.samples(id, 0, std::numeric_limits<qint64>::max());
            QVERIFY(held.first().x() >= double(history.newest_time(id) - span_ms));
        }

        // The file has a row per sweep, each in one piece.
        const int rows = recorder->rows();
        recorder.reset();
        QCOMPARE(faults, 0);
        QFile file(csv);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = file.readAll().split('\n');
        const int rows_in_file = int(lines.size()) - 2; // the header and what follows the last CR LF
        QVERIFY(lines.last().isEmpty());
        QVERIFY(rows_in_file >= rows); // the last ones written out as the recorder went
        QVERIFY(rows_in_file >= whole);
        for (const QByteArray& line : lines.mid(1, lines.size() - 2))
            QCOMPARE(line.count(','), parameters);
        qInfo("%s; %d parameters, %d s, %lld values, %d rows", qPrintable(counts), parameters, seconds,
              values, rows_in_file);
    }
};

QTEST_GUILESS_MAIN(tst_monitoring_soak)
#include "tst_monitoring_soak.moc"
