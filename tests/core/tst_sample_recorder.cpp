// SPDX-License-Identifier: BSD-3-Clause
// Polled values recorded to CSV: the format, rows per sweep, rows on disk within a second, and a
// file that fails under the recorder.
#include "qzgui/sample_recorder.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <stdexcept>

using qz::gui::parameter_description;
using qz::gui::sample_recorder;

namespace {

parameter_description column(uint32_t id, const QString& name = QString(), const QString& unit = QString())
{
    parameter_description p;
    p.id = id;
    p.name = name;
    p.unit = unit;
    return p;
}

QByteArray content(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<cannot be read>");
}

// 2024-11-24T09:30:00.125Z
constexpr qint64 t0 = 1732440600125;

} // namespace

class tst_sample_recorder : public QObject {
    Q_OBJECT

    QTemporaryDir _dir;

private slots:
    void the_file_is_rfc_4180_csv_in_utc()
    {
        const QString path = _dir.filePath(QStringLiteral("format.csv"));
        {
            sample_recorder recorder(path,
                                     {column(3, QStringLiteral("Gain"), QStringLiteral("dB")),
                                      column(0x1A2B3), column(2, QStringLiteral("Name, \"long\"")),
                                      column(4, QStringLiteral("Level")), column(1, QStringLiteral("On"))});
            recorder.add(3, 12, t0);
            recorder.add(0x1A2B3, 0.1, t0 + 1);
            recorder.add(2, QStringLiteral("pump \"A\", east\nline 2"), t0 + 2);
            recorder.add_error(4, t0 + 3);
            recorder.add(1, true, t0 + 4);
            recorder.add(3, -5, t0 + 1000);
            recorder.add(0x1A2B3, 1e21, t0 + 1001);
            recorder.add(2, QStringLiteral("plain"), t0 + 1002);
            recorder.add(4, 4294967295u, t0 + 1003);
            recorder.add(1, false, t0 + 1004);
            recorder.add(99, 7, t0 + 1005); // no such column
        }
        QCOMPARE(content(path),
                 QByteArray(
                     "time,0x0003 Gain (dB),0x1A2B3,\"0x0002 Name, \"\"long\"\"\",0x0004 Level,0x0001 On\r\n"
                     "2024-11-24T09:30:00.125Z,12,0.1,\"pump \"\"A\"\", east\nline 2\",,1\r\n"
                     "2024-11-24T09:30:01.125Z,-5,1e+21,plain,4294967295,0\r\n"));
    }

    void a_column_that_comes_again_begins_the_next_row()
    {
        const QString path = _dir.filePath(QStringLiteral("partial.csv"));
        {
            sample_recorder recorder(path, {column(1), column(2)});
            recorder.add(1, 1, t0);
            recorder.add(1, 2, t0 + 500);
            recorder.add(2, 3, t0 + 600);
            QCOMPARE(recorder.rows(), 0); // not yet in the file
        }
        QCOMPARE(content(path),
                 QByteArray("time,0x0001,0x0002\r\n"
                            "2024-11-24T09:30:00.125Z,1,\r\n"
                            "2024-11-24T09:30:00.625Z,2,3\r\n"));
    }

    void rows_reach_the_file_by_themselves()
    {
        const QString path = _dir.filePath(QStringLiteral("soon.csv"));
        sample_recorder recorder(path, {column(1), column(2)});
        recorder.add(1, 1, t0);
        recorder.add(2, 2, t0);
        // A sweep that says no more for a while ends its row too.
        recorder.add(1, 5, t0 + 100);
        QTRY_COMPARE_WITH_TIMEOUT(recorder.rows(), 2, 30000);
        QCOMPARE(content(path),
                 QByteArray("time,0x0001,0x0002\r\n"
                            "2024-11-24T09:30:00.125Z,1,2\r\n"
                            "2024-11-24T09:30:00.225Z,5,\r\n"));
    }

    void a_long_sweep_keeps_no_row_before_it_waiting()
    {
        const QString path = _dir.filePath(QStringLiteral("long.csv"));
        sample_recorder recorder(path, {column(1), column(2)});
        recorder.add(1, 1, t0);
        recorder.add(2, 2, t0);
        // The next sweep is slow: a sample every 200 ms, its row not yet complete.
        bool written = false;
        for (int i = 0; i < 15 && !written; ++i) {
            recorder.add(1, 3 + i, t0 + 1000 + i);
            recorder.add_error(1, t0 + 1000 + i); // the same column: a row of its own each time
            QTest::qWait(200);
            written = recorder.rows() > 0;
        }
        // Rows reached the file while the samples kept coming: none waited for them to stop.
        QVERIFY(written);
    }

    void a_file_that_cannot_be_made_is_an_error()
    {
        // A directory where the file should be: root writes everywhere, so no permission fails.
        try {
            sample_recorder recorder(_dir.path(), {column(1)});
            QFAIL("made");
        } catch (const std::runtime_error& e) {
            QVERIFY2(
                QString::fromUtf8(e.what()).startsWith(_dir.path() + QStringLiteral(": cannot be written: ")),
                e.what());
        }
        try {
            sample_recorder recorder(QStringLiteral("/dev/full"), {column(1)});
            QFAIL("made");
        } catch (const std::runtime_error& e) {
            QVERIFY2(QString::fromUtf8(e.what()).startsWith(QStringLiteral("/dev/full: cannot be written: ")),
                     e.what());
        }
    }

    void recording_resumes_after_its_directory_came_back()
    {
        const QString folder = _dir.filePath(QStringLiteral("records"));
        QVERIFY(QDir().mkpath(folder));
        const QString path = folder + QStringLiteral("/run.csv");
        sample_recorder recorder(path, {column(1)});
        QSignalSpy faults(&recorder, &sample_recorder::on_fault);
        recorder.add(1, 1, t0);
        QTRY_COMPARE_WITH_TIMEOUT(recorder.rows(), 1, 30000);

        QVERIFY(QDir(folder).removeRecursively());
        recorder.add(1, 2, t0 + 1000);
        QTRY_COMPARE_WITH_TIMEOUT(faults.size(), 1, 30000);
        QVERIFY(faults.first().at(0).toString().startsWith(path + QStringLiteral(": cannot be written")));
        recorder.add(1, 3, t0 + 2000);
        QTest::qWait(1500);
        QCOMPARE(faults.size(), 1); // once, not per row
        QCOMPARE(recorder.rows(), 1);

        QVERIFY(QDir().mkpath(folder));
        recorder.add(1, 4, t0 + 3000);
        QTRY_COMPARE_WITH_TIMEOUT(recorder.rows(), 2, 30000);
        QCOMPARE(content(path), QByteArray("time,0x0001\r\n2024-11-24T09:30:03.125Z,4\r\n"));
        QCOMPARE(faults.size(), 1);
    }
};

QTEST_GUILESS_MAIN(tst_sample_recorder)
#include "tst_sample_recorder.moc"
