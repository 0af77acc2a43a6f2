// SPDX-License-Identifier: BSD-3-Clause
// qzparam watch as a user runs it: CSV of polled values on standard output from qz-modbus-device
// on 127.0.0.1, one flushed row per sweep, through a device that is killed and comes back.
#include "modbus_fixture.h"

#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTcpServer>
#include <QtTest>

#include <csignal>

using qz::test::device_process;

namespace {

const QByteArray map_text = R"({"version": 1, "parameters": [
    {"id": "0x0010", "name": "Gain", "unit": "dB", "table": "holding", "address": 0, "type": "uint16", "initial": 12},
    {"id": "0x0011", "name": "Level", "table": "holding", "address": 1, "type": "float32", "initial": 0.1},
    {"id": "0x0013", "table": "coil", "address": 0, "type": "bool", "initial": true},
    {"id": "0x0014", "name": "Label, long", "table": "holding", "address": 3, "type": "string", "registers": 4,
     "initial": "say \"hi\""}
]})";

const QString header = QStringLiteral("time,0x0010 Gain (dB),0x0011 Level,0x0013,\"0x0014 Label, long\"");
const QString values = QStringLiteral("12,0.1,1,\"say \"\"hi\"\"\"");
const QRegularExpression time_cell(QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z$"));

// A qzparam watch process and what it has written so far, line by line.
class watch_process {
public:
    explicit watch_process(const QString& config_dir)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config_dir);
        _process.setProcessEnvironment(environment);
    }

    ~watch_process()
    {
        if (_process.state() != QProcess::NotRunning)
            _process.kill();
        _process.waitForFinished(10000);
    }

    void start(const QStringList& arguments)
    {
        qz::test::start_tied(_process, QStringLiteral(QZGUI_QZPARAM), arguments);
    }

    /// Waits until standard output holds @p rows rows after the header, or standard error a line
    /// containing @p err. @return whether it did
    bool wait_for(int rows, const QString& err = QString(), int timeout_ms = 60000)
    {
        const QDeadlineTimer deadline(timeout_ms);
        while (!deadline.hasExpired()) {
            _collect();
            if (err.isEmpty() ? out.size() > rows : !errors.filter(err).isEmpty())
                return true;
            if (_process.state() == QProcess::NotRunning)
                return false;
            _process.waitForReadyRead(50);
        }
        return false;
    }

    /// Sends @p signal and waits for the end. @return the exit status, -1 when it did not end by itself
    int end(int signal)
    {
        if (signal)
            ::kill(pid_t(_process.processId()), signal);
        const bool ended = _process.waitForFinished(60000);
        _collect();
        return ended && _process.exitStatus() == QProcess::NormalExit ? _process.exitCode() : -1;
    }

    QStringList out;    // standard output's lines, without their CR LF
    QStringList errors; // standard error's lines
    QByteArray raw;     // standard output as it came

private:
    void _collect()
    {
        const QByteArray bytes = _process.readAllStandardOutput();
        raw += bytes;
        _out_rest += bytes;
        for (int end; (end = int(_out_rest.indexOf("\r\n"))) >= 0; _out_rest.remove(0, end + 2))
            out.append(QString::fromUtf8(_out_rest.left(end)));
        _err_rest += _process.readAllStandardError();
        for (int end; (end = int(_err_rest.indexOf('\n'))) >= 0; _err_rest.remove(0, end + 1))
            errors.append(QString::fromUtf8(_err_rest.left(end)));
    }

    QProcess _process;
    QByteArray _out_rest;
    QByteArray _err_rest;
};

// Each row after the header: a UTC time and the values; @return what is wrong, or nothing.
QString check_rows(const QStringList& rows, const QString& cells)
{
    for (const QString& row : rows) {
        const int comma = int(row.indexOf(QLatin1Char(',')));
        if (!time_cell.match(row.left(comma)).hasMatch() || row.mid(comma + 1) != cells)
            return row;
    }
    return QString();
}

} // namespace

class tst_qzparam_watch : public QObject {
    Q_OBJECT

    QTemporaryDir _dir;
    QString _map;
    device_process _device;

    QString _config() const { return _dir.filePath(QStringLiteral("config")); }

    QStringList _on(const QString& address, const QStringList& rest) const
    {
        return QStringList{QStringLiteral("--device"), address, QStringLiteral("--map"), _map} + rest;
    }

private slots:
    void initTestCase()
    {
        _map = _dir.filePath(QStringLiteral("map.json"));
        QVERIFY(qz::test::write_text(_map, map_text));
        QVERIFY(_device.start(_map));
    }

    void writes_the_header_and_a_row_per_sweep()
    {
        watch_process watch(_config());
        watch.start(_on(_device.address(), {"watch", "--interval", "100", "--count", "3"}));
        QCOMPARE(watch.end(0), 0);
        QCOMPARE(watch.errors, QStringList());
        QCOMPARE(watch.out.size(), 4);
        QCOMPARE(watch.out.first(), header);
        QCOMPARE(check_rows(watch.out.mid(1), values), QString());
        QVERIFY(watch.raw.endsWith("\r\n"));
        QCOMPARE(watch.raw.count("\r\n"), 4);
        // Rows in the order of their sweeps (the poller's pace is tst_poller's to check).
        const auto time_of = [&](int row) {
            return QDateTime::fromString(watch.out[row].left(24), Qt::ISODateWithMs).toMSecsSinceEpoch();
        };
        QVERIFY(time_of(1) > 0);
        QVERIFY(time_of(1) < time_of(2) && time_of(2) < time_of(3));
    }

    void watches_the_ids_given_in_their_order()
    {
        watch_process watch(_config());
        watch.start(_on(_device.address(), {"watch", "--interval", "0", "--count", "2", "0x13", "16"}));
        QCOMPARE(watch.end(0), 0);
        QCOMPARE(watch.out.value(0), QStringLiteral("time,0x0013,0x0010 Gain (dB)"));
        QCOMPARE(watch.out.size(), 3);
        QCOMPARE(check_rows(watch.out.mid(1), QStringLiteral("1,12")), QString());
    }

    void each_row_is_flushed_as_its_sweep_ends_and_sigterm_ends_with_0()
    {
        watch_process watch(_config());
        watch.start(_on(_device.address(), {"watch", "--interval", "200"}));
        // Two rows readable while qzparam still runs: each went out when its sweep ended.
        QVERIFY(watch.wait_for(2));
        QCOMPARE(watch.end(SIGTERM), 0);
        QCOMPARE(check_rows(watch.out.mid(1), values), QString());
        QCOMPARE(watch.errors, QStringList());
    }

    void sigint_ends_with_0()
    {
        watch_process watch(_config());
        watch.start(_on(_device.address(), {"watch", "--interval", "200"}));
        QVERIFY(watch.wait_for(1));
        QCOMPARE(watch.end(SIGINT), 0);
        QCOMPARE(watch.out.first(), header);
    }

    void bad_arguments_are_status_2_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("error");
        QTest::newRow("negative interval") << QStringList{"watch", "--interval", "-1"}
                                           << "qzparam: --interval takes a whole number from 0 to 86400000";
        QTest::newRow("interval not a number")
            << QStringList{"watch", "--interval", "fast"}
            << "qzparam: --interval takes a whole number from 0 to 86400000";
        QTest::newRow("negative count") << QStringList{"watch", "--count", "-3"}
                                        << "qzparam: --count takes a whole number from 1 to 2147483647";
        QTest::newRow("count not a number") << QStringList{"watch", "--count", "3x"}
                                            << "qzparam: --count takes a whole number from 1 to 2147483647";
        QTest::newRow("id not in the map") << QStringList{"watch", "0x10", "0x99"}
                                           << QStringLiteral("qzparam: 0x99 is not an id of %1").arg(_map);
        QTest::newRow("interval for a read")
            << QStringList{"read", "--interval", "100"} << "qzparam: --interval and --count are for watch";
    }

    void bad_arguments_are_status_2()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, error);
        const int before = _device.requests().size();
        watch_process watch(_config());
        watch.start(_on(_device.address(), arguments));
        QCOMPARE(watch.end(0), 2);
        QCOMPARE(watch.errors, QStringList{error});
        QCOMPARE(watch.out, QStringList());
        QCOMPARE(_device.requests().size(), before);
    }

    void no_device_at_the_start_is_status_3()
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        const QString address = QStringLiteral("tcp://127.0.0.1:%1").arg(probe.serverPort());
        probe.close();
        watch_process watch(_config());
        watch.start(_on(address, {"watch", "--interval", "100"}));
        QCOMPARE(watch.end(0), 3);
        QCOMPARE(watch.out, QStringList{header});
        QCOMPARE(watch.errors.size(), 1);
        QVERIFY2(watch.errors.first().startsWith(
                     QStringLiteral("qzparam: %1: please check com port").arg(address)),
                 qPrintable(watch.errors.first()));
    }

    void a_device_killed_and_restarted_is_lost_and_back_and_rows_resume()
    {
        device_process device;
        QVERIFY(device.start(_map));
        const QString address = device.address();
        const QString port = address.section(QLatin1Char(':'), 2).section(QLatin1Char('?'), 0, 0);
        watch_process watch(_config());
        watch.start(_on(address, {"watch", "--interval", "100"}));
        QVERIFY(watch.wait_for(3));

        device.kill();
        QVERIFY2(watch.wait_for(0, QStringLiteral("device lost")), qPrintable(watch.errors.join(" | ")));
        const int rows_before = watch.out.size();
        // While it is gone no row comes; polling goes on at its own pace.
        QTest::qWait(1500);
        watch.wait_for(1000000, QString(), 0);
        const int rows_while_down = watch.out.size();
        QVERIFY2(rows_while_down - rows_before <= 1, qPrintable(watch.out.mid(rows_before).join(" | ")));

        device_process again;
        QVERIFY(again.start(_map, QStringLiteral("tcp://127.0.0.1:%1").arg(port)));
        QVERIFY2(watch.wait_for(0, QStringLiteral("device back")), qPrintable(watch.errors.join(" | ")));
        QVERIFY(watch.wait_for(rows_while_down + 2));
        QCOMPARE(watch.end(SIGTERM), 0);

        QCOMPARE(watch.errors,
                 (QStringList{
                     QStringLiteral("qzparam: %1: device lost: please check com port and device address: no "
                                    "connection (Connection refused)")
                         .arg(address),
                     QStringLiteral("qzparam: %1: device back").arg(address)}));
        // Whole rows before and after; at most the sweep the kill cut short has empty cells.
        QCOMPARE(check_rows(watch.out.mid(1, rows_before - 2), values), QString());
        QCOMPARE(check_rows(watch.out.mid(rows_while_down + 1), values), QString());
    }
};

QTEST_GUILESS_MAIN(tst_qzparam_watch)
#include "tst_qzparam_watch.moc"
