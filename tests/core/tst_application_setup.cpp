// SPDX-License-Identifier: BSD-3-Clause
// What a form application does before its window: answer --help without a display, and give the
// log a directory of the user's where the settings name none.
#include "temporary_settings.h"

#include "qzgui/application_setup.h"
#include "qzgui/settings_keys.h"

#include <QDir>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <vector>

class tst_application_setup : public QObject {
    Q_OBJECT

    qz::test::temporary_settings _settings;
    QTemporaryDir _home;

private slots:
    void help_is_asked_for_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<bool>("help");
        QTest::newRow("nothing") << QStringList{} << false;
        QTest::newRow("-h") << QStringList{"-h"} << true;
        QTest::newRow("--help after others") << QStringList{"--map", "x.json", "--help"} << true;
        QTest::newRow("-?") << QStringList{"-?"} << true;
        QTest::newRow("--help-all") << QStringList{"--help-all"} << true;
        QTest::newRow("a value that only looks alike") << QStringList{"--map", "--helpful.json"} << false;
        QTest::newRow("the program's own name") << QStringList{} << false;
    }

    void help_is_asked_for()
    {
        QFETCH(QStringList, arguments);
        QFETCH(bool, help);
        std::vector<QByteArray> bytes{QByteArray("--help")}; // argv[0] is the program, never an option
        for (const QString& a : arguments)
            bytes.push_back(a.toUtf8());
        std::vector<char*> argv;
        for (QByteArray& b : bytes)
            argv.push_back(b.data());
        QCOMPARE(qz::gui::asks_for_help(int(argv.size()), argv.data()), help);
    }

    void the_log_gets_a_directory_of_the_users()
    {
        qputenv("XDG_DATA_HOME", _home.path().toUtf8());
        _settings.clear();
        const QString logs = qz::gui::ensure_log_location();
        QVERIFY2(logs.startsWith(_home.path() + QLatin1Char('/')) && logs.endsWith(QLatin1String("/logs")),
                 qPrintable(logs));
        QVERIFY(QDir(logs).exists());
        QCOMPARE(QSettings().value(QLatin1String(qz::gui::log_location_key)).toString(), logs);
    }

    void a_directory_the_settings_name_stays()
    {
        const QString chosen = _home.filePath(QStringLiteral("chosen"));
        _settings.set(QLatin1String(qz::gui::log_location_key), chosen);
        QCOMPARE(qz::gui::ensure_log_location(), chosen);
        QCOMPARE(QSettings().value(QLatin1String(qz::gui::log_location_key)).toString(), chosen);
        // Not made: the log controller says so when a named directory is missing.
        QVERIFY(!QDir(chosen).exists());
    }
};

QTEST_GUILESS_MAIN(tst_application_setup)
#include "tst_application_setup.moc"
