// SPDX-License-Identifier: BSD-3-Clause
// The log controller while its file fails under it, with real files and file systems: the log
// directory removed, the file system made read-only, the log file replaced by a directory, and a
// full file system. Each fault loses only the lines logged while it lasts (the list keeps them
// all), no line is left half written, and file logging resumes by itself once the fault is gone.
// Mounting needs the right to (root with CAP_SYS_ADMIN); without it those cases say so and skip.
#include "qzgui/log_controller.h"
#include "temporary_settings.h"

#include <qzgui/settings_keys.h>

#include <QDir>
#include <QElapsedTimer>
#include <QListWidget>
#include <QtTest>

#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <memory>

using qz::gui::log_controller;
using qz::gui::log_item;

namespace {

// A log call that takes longer than this would be the GUI thread blocked on the file.
constexpr qint64 call_bound_ms = 10000;

// A small tmpfs mounted on a directory for the life of the object.
class small_file_system {
public:
    explicit small_file_system(const QString& where, const char* options)
        : _where(QFile::encodeName(where))
    {
        _mounted = ::mount("tmpfs", _where.constData(), "tmpfs", 0, options) == 0;
        if (!_mounted)
            _error = QString::fromLocal8Bit(std::strerror(errno));
    }
    ~small_file_system()
    {
        if (_mounted)
            ::umount2(_where.constData(), MNT_DETACH);
    }
    bool mounted() const { return _mounted; }
    QString error() const { return _error; }
    bool set_read_only(bool on)
    {
        return ::mount("tmpfs", _where.constData(), "tmpfs", MS_REMOUNT | (on ? MS_RDONLY : 0), nullptr) == 0;
    }

private:
    QByteArray _where;
    bool _mounted = false;
    QString _error;
};

QStringList file_messages(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray bytes = file.readAll();
    QStringList messages;
    for (const QString& line : QString::fromUtf8(bytes).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts))
        messages << line.mid(31);
    if (!bytes.isEmpty() && !bytes.endsWith("\r\n"))
        messages << QStringLiteral("<unfinished line>");
    return messages;
}

QStringList list_messages(const QListWidget& list)
{
    QStringList messages;
    for (int row = 0; row < list.count(); ++row)
        messages << list.item(row)->text().mid(31);
    return messages;
}

} // namespace

class tst_log_file_faults : public QObject {
    Q_OBJECT

    std::unique_ptr<qz::test::temporary_settings> _settings;
    std::unique_ptr<QTemporaryDir> _dir;
    QString _logs; // the log directory, inside _dir
    std::unique_ptr<QListWidget> _list;

    // A controller logging into _logs, its start lines removed from the file for easier reading.
    std::unique_ptr<log_controller> start()
    {
        _settings->set(QLatin1String(qz::gui::log_location_key), _logs);
        auto log = std::make_unique<log_controller>(nullptr, QStringLiteral("faults"), _list.get());
        QFile::remove(log->get_log_file_name());
        return log;
    }

    // Logs @p message and checks that the call came back.
    void log(log_controller& log, const QString& message)
    {
        QElapsedTimer clock;
        clock.start();
        log.log(log_item::INFO, message);
        QVERIFY2(clock.elapsed() < call_bound_ms, qPrintable(message));
    }

    // The list shows every line logged, whatever the file did.
    void check_list_has(const QStringList& messages)
    {
        QVERIFY(QTest::qWaitFor([&] { return list_messages(*_list).mid(2) == messages; }, 20000));
    }

private slots:
    void initTestCase() { _settings = std::make_unique<qz::test::temporary_settings>(); }

    void init()
    {
        _dir = std::make_unique<QTemporaryDir>();
        _logs = _dir->filePath(QStringLiteral("logs"));
        QVERIFY(QDir().mkpath(_logs));
        _list = std::make_unique<QListWidget>();
    }

    void cleanup() { _list.reset(); }

    void the_directory_removed_and_made_again()
    {
        const auto logger = start();
        const QString path = logger->get_log_file_name();
        log(*logger, QStringLiteral("before"));
        QVERIFY(QDir(_logs).removeRecursively());
        log(*logger, QStringLiteral("while gone 1"));
        log(*logger, QStringLiteral("while gone 2"));
        QVERIFY(!QFile::exists(path));
        QVERIFY(QDir().mkpath(_logs));
        log(*logger, QStringLiteral("after"));
        // The first file went with its directory; the new one starts with the first line after.
        QCOMPARE(file_messages(path), QStringList{QStringLiteral("after")});
        check_list_has({QStringLiteral("before"), QStringLiteral("while gone 1"),
                        QStringLiteral("while gone 2"), QStringLiteral("after")});
    }

    void the_file_replaced_by_a_directory()
    {
        const auto logger = start();
        const QString path = logger->get_log_file_name();
        log(*logger, QStringLiteral("before"));
        QVERIFY(QFile::remove(path));
        QVERIFY(QDir().mkdir(path));
        log(*logger, QStringLiteral("while a directory"));
        QVERIFY(QFileInfo(path).isDir());
        QVERIFY(QDir(path).isEmpty());
        QVERIFY(QDir().rmdir(path));
        log(*logger, QStringLiteral("after"));
        QCOMPARE(file_messages(path), QStringList{QStringLiteral("after")});
        check_list_has(
            {QStringLiteral("before"), QStringLiteral("while a directory"), QStringLiteral("after")});
    }

    void a_read_only_file_system()
    {
        // Permissions do not stop root; a read-only mount does.
        small_file_system fs(_logs, "size=1m");
        if (!fs.mounted())
            QSKIP(qPrintable(QStringLiteral("cannot mount a tmpfs here (%1)").arg(fs.error())));
        const auto logger = start();
        const QString path = logger->get_log_file_name();
        log(*logger, QStringLiteral("before"));
        QVERIFY(fs.set_read_only(true));
        log(*logger, QStringLiteral("while read-only"));
        QVERIFY(fs.set_read_only(false));
        log(*logger, QStringLiteral("after"));
        QCOMPARE(file_messages(path), (QStringList{QStringLiteral("before"), QStringLiteral("after")}));
        check_list_has(
            {QStringLiteral("before"), QStringLiteral("while read-only"), QStringLiteral("after")});
    }

    void a_full_file_system()
    {
        small_file_system fs(_logs, "size=64k");
        if (!fs.mounted())
            QSKIP(qPrintable(QStringLiteral("cannot mount a tmpfs here (%1)").arg(fs.error())));
        const auto logger = start();
        const QString path = logger->get_log_file_name();
        log(*logger, QStringLiteral("before"));

        // Fill every page but the log file's own: its last page still has room for part of a
        // long line, which must not stay behind as a half line.
        QFile filler(QDir(_logs).filePath(QStringLiteral("filler")));
        QVERIFY(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        const QByteArray block(512, 'x');
        while (filler.write(block) == block.size()) {}
        filler.close();
        const QString long_line = QStringLiteral("while full ") + QString(6000, QLatin1Char('y'));
        log(*logger, long_line);
        log(*logger, QStringLiteral("while full, short"));

        QVERIFY(filler.remove());
        log(*logger, QStringLiteral("after"));
        // The long line is lost whole; the short one fits in the room the file's page had left.
        QCOMPARE(file_messages(path),
                 (QStringList{QStringLiteral("before"), QStringLiteral("while full, short"),
                              QStringLiteral("after")}));
        check_list_has({QStringLiteral("before"), long_line, QStringLiteral("while full, short"),
                        QStringLiteral("after")});
    }
};

QTEST_MAIN(tst_log_file_faults)
#include "tst_log_file_faults.moc"
