// SPDX-License-Identifier: BSD-3-Clause
// Runs the device console's scripted session as a user of the README would, and checks the log it
// prints and the picture it saves. The platform is the test's own: offscreen, or xcb under Xvfb.
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

class tst_device_console : public QObject {
    Q_OBJECT

    QTemporaryDir _home;
    QStringList _lines;
    QString _screenshot;

private slots:
    void initTestCase()
    {
        QVERIFY(_home.isValid());
        const QString platform = qEnvironmentVariable("QZGUI_CONSOLE_PLATFORM", QStringLiteral("offscreen"));
        if (platform == QLatin1String("xcb"))
            QVERIFY2(!qEnvironmentVariableIsEmpty("DISPLAY"), "xcb needs an X server (run under xvfb-run)");
        QProcess console;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        // Settings and the log directory go to the test's own directory.
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), _home.filePath(QStringLiteral("config")));
        env.insert(QStringLiteral("XDG_DATA_HOME"), _home.filePath(QStringLiteral("data")));
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), platform);
        console.setProcessEnvironment(env);
        console.setWorkingDirectory(_home.path());
        _screenshot = _home.filePath(QStringLiteral("console.png"));
        console.start(QStringLiteral(DEVICE_CONSOLE),
                      {QStringLiteral("--script"), QStringLiteral("--screenshot"), _screenshot});
        QVERIFY(console.waitForStarted(60000));
        if (!console.waitForFinished(180000)) {
            console.kill();
            QFAIL("the console did not finish");
        }
        const QByteArray err = console.readAllStandardError();
        QCOMPARE(console.exitStatus(), QProcess::NormalExit);
        QVERIFY2(console.exitCode() == 0, err.constData());
        _lines = QString::fromUtf8(console.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
        QVERIFY(_lines.size() > 20);
    }

    void every_line_is_a_log_line()
    {
        const QRegularExpression line(QStringLiteral(
            "^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d,\\d{3}  (INFO |WARN |ERROR|QZTTC) .*$"));
        for (const QString& text : _lines.mid(0, _lines.size() - 1))
            QVERIFY2(line.match(text).hasMatch(), qPrintable(text));
        QCOMPARE(_lines.last(), QStringLiteral("screenshot: ") + _screenshot);
    }

    void log_is_announced_in_its_own_directory()
    {
        QVERIFY(_lines[0].contains(QStringLiteral("INFO  Starting log at: ")
                                   + _home.filePath(QStringLiteral("data"))));
    }

    void the_session_shows_in_order()
    {
        // Each expected message, in this order, somewhere after the one before.
        const QStringList expected = {"INFO  begin of READ operation",
                                      "INFO  connection: connecting",
                                      "INFO  connection: connected",
                                      "QZTTC read 0x0003 Gain (dB) = 12",
                                      "INFO  connection: disconnected",
                                      "INFO  end of READ operation",
                                      "INFO  begin of WRITE operation",
                                      "QZTTC written 0x0001 Output enabled = false",
                                      "QZTTC written 0x0002 Device name = QZ-1000 north mast (service)",
                                      "QZTTC written 0x0003 Gain (dB) = 14",
                                      "INFO  end of WRITE operation",
                                      "INFO  saved 8 parameters to ",
                                      "QZTTC written 0x0002 Device name = QZ-1000 bench copy",
                                      "INFO  loaded 8 parameters from ",
                                      "INFO  begin of WRITE operation",
                                      "QZTTC written 0x0002 Device name = QZ-1000 north mast (service)",
                                      "INFO  end of WRITE operation",
                                      "INFO  begin of READ operation",
                                      "ERROR read 0x0003 Gain (dB): CRC error: checksum mismatch",
                                      "INFO  end of READ operation",
                                      "INFO  profile: Extended band",
                                      "INFO  begin of READ operation",
                                      "WARN  stop requested",
                                      ": stopped: stopped",
                                      "INFO  connection: disconnected",
                                      "INFO  end of READ operation"};
        int at = 0;
        for (const QString& message : expected) {
            while (at < _lines.size() && !_lines[at].contains(message))
                ++at;
            QVERIFY2(at < _lines.size(), qPrintable("missing or out of order: " + message));
            ++at;
        }
    }

    void the_parameter_file_restores_the_saved_name()
    {
        const QString file = _home.filePath(QStringLiteral("device_console_parameters.json"));
        const QStringList saved = _lines.filter(QStringLiteral("INFO  saved 8 parameters to "));
        QCOMPARE(saved.size(), 1);
        QVERIFY2(saved[0].endsWith(QStringLiteral("saved 8 parameters to ") + file), qPrintable(saved[0]));
        // Only the name differed from the file when it was loaded back.
        const QStringList loaded = _lines.filter(QStringLiteral("INFO  loaded 8 parameters from "));
        QCOMPARE(loaded.size(), 1);
        QVERIFY2(loaded[0].endsWith(file + QStringLiteral("; pending: 0x0002 Device name")),
                 qPrintable(loaded[0]));
        QFile f(file);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QVERIFY(f.readAll().contains("\"value\": \"QZ-1000 north mast (service)\""));
    }

    void the_stopped_read_ends_early()
    {
        int begin = -1;
        for (int i = 0; i < _lines.size(); ++i)
            if (_lines[i].contains(QLatin1String("begin of READ operation")))
                begin = i;
        QVERIFY(begin >= 0);
        const QStringList last_read = _lines.mid(begin);
        QVERIFY(last_read.filter(QStringLiteral("QZTTC read")).size() < 10);
    }

    void help_needs_no_display()
    {
        QProcess console;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        // A platform that cannot start here: help must not need one.
        env.remove(QStringLiteral("DISPLAY"));
        env.remove(QStringLiteral("WAYLAND_DISPLAY"));
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        console.setProcessEnvironment(env);
        console.start(QStringLiteral(DEVICE_CONSOLE), {QStringLiteral("--help")});
        QVERIFY(console.waitForFinished(60000));
        const QString out = QString::fromLocal8Bit(console.readAllStandardOutput());
        QCOMPARE(console.exitStatus(), QProcess::NormalExit);
        QCOMPARE(console.exitCode(), 0);
        QVERIFY2(out.contains(QLatin1String("--device <address>")), qPrintable(out));
        QVERIFY2(out.contains(QLatin1String("--script")), qPrintable(out));
    }

    void screenshot_shows_a_window()
    {
        const QImage picture(_screenshot);
        QVERIFY(!picture.isNull());
        QVERIFY(picture.width() >= 600 && picture.height() >= 400);
        QSet<QRgb> colours;
        for (int y = 0; y < picture.height(); y += 4)
            for (int x = 0; x < picture.width(); x += 4)
                colours.insert(picture.pixel(x, y));
        QVERIFY2(colours.size() > 20, qPrintable(QString::number(colours.size())));
    }
};

QTEST_GUILESS_MAIN(tst_device_console)
#include "tst_device_console.moc"
