// SPDX-License-Identifier: BSD-3-Clause
// Real Modbus devices for tests: the project's device simulator as a child process, on 127.0.0.1
// or on one end of a pseudo-terminal pair that Debian's socat makes.
#ifndef QZGUI_TESTS_MODBUS_FIXTURE_H
#define QZGUI_TESTS_MODBUS_FIXTURE_H

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

namespace qz::test {

/// Writes @p text to @p path; @return whether it was written whole.
inline bool write_text(const QString& path, const QByteArray& text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

/// A register map of @p count uint16 holding registers from address 0, ids 0x1000 upward, each
/// starting with its address as its value.
inline QByteArray holding_map(int count)
{
    QByteArray text = "{\"version\": 1, \"parameters\": [\n";
    for (int i = 0; i < count; ++i)
        text += QStringLiteral("{\"id\": %1, \"table\": \"holding\", \"address\": %2, \"type\": \"uint16\", "
                               "\"initial\": %2}%3\n")
                    .arg(0x1000 + i)
                    .arg(i)
                    .arg(i + 1 < count ? QStringLiteral(",") : QString())
                    .toUtf8();
    return text + "]}\n";
}

/**
 * Starts @p program with @p arguments as a child that ends with this process: Debian's setpriv
 * gives it a signal when the test goes, so a test that dies leaves no child holding CTest's output
 * open until the time-out. The child keeps its own process id.
 */
inline void start_tied(QProcess& process, const QString& program, const QStringList& arguments)
{
    const QString setpriv = QStandardPaths::findExecutable(QStringLiteral("setpriv"));
    if (setpriv.isEmpty())
        process.start(program, arguments);
    else
        process.start(
            setpriv,
            QStringList{QStringLiteral("--pdeathsig"), QStringLiteral("TERM"), QStringLiteral("--"), program}
                + arguments);
}

/**
 * qz-modbus-device, started with a map and options, ended by SIGTERM when the object dies. The
 * device's log lines are collected as they come.
 */
class device_process {
public:
    /// Starts the device; @p listen is "tcp://127.0.0.1:0" or an rtu: address.
    bool start(const QString& map, const QString& listen = QStringLiteral("tcp://127.0.0.1:0"),
               const QStringList& options = {})
    {
        _process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        start_tied(_process, QStringLiteral(QZGUI_MODBUS_DEVICE),
                   QStringList{QStringLiteral("--listen"), listen, QStringLiteral("--map"), map} + options);
        if (!_process.waitForStarted(10000))
            return false;
        const QDeadlineTimer deadline(30000);
        while (_address.isEmpty() && !deadline.hasExpired() && _process.state() == QProcess::Running) {
            _process.waitForReadyRead(100);
            _collect();
        }
        return !_address.isEmpty();
    }

    ~device_process()
    {
        if (_process.state() == QProcess::NotRunning)
            return;
        ::kill(pid_t(_process.processId()), SIGTERM);
        if (!_process.waitForFinished(10000))
            _process.kill();
        _process.waitForFinished(10000);
    }

    /// @return the address a client reaches the device at, "?unit=1" included
    QString address() const { return _address; }

    /// @return the request lines logged so far (the "listening" line left out)
    QStringList requests()
    {
        _process.waitForReadyRead(0);
        _collect();
        return _lines;
    }

    /// Waits until a request line from the @p from'th on contains @p part. @return whether one did
    bool wait_for_request(const QString& part, int from = 0, int timeout_ms = 30000)
    {
        const QDeadlineTimer deadline(timeout_ms);
        while (!deadline.hasExpired()) {
            if (!requests().mid(from).filter(part).isEmpty())
                return true;
            _process.waitForReadyRead(50);
        }
        return false;
    }

    /// Kills the device at once (SIGKILL), as a crash or a pulled plug would, and waits for the end.
    void kill()
    {
        _process.kill();
        _process.waitForFinished(10000);
    }

    /// Sends SIGTERM and waits for the end. @return the exit code, or -1 when it did not end
    int terminate(QByteArray* rest_of_output)
    {
        ::kill(pid_t(_process.processId()), SIGTERM);
        if (!_process.waitForFinished(20000))
            return -1;
        *rest_of_output = _process.readAllStandardOutput();
        return _process.exitStatus() == QProcess::NormalExit ? _process.exitCode() : -1;
    }

private:
    void _collect()
    {
        while (_process.canReadLine()) {
            const QString line = QString::fromUtf8(_process.readLine()).trimmed();
            if (_address.isEmpty() && line.startsWith(QLatin1String("listening on ")))
                _address = line.mid(13);
            else
                _lines.append(line);
        }
    }

    QProcess _process;
    QString _address;
    QStringList _lines;
};

/// Two linked pseudo-terminals made by socat: what is written to one end is read at the other.
class pty_pair {
public:
    /// @return an empty string, or why the pair could not be made
    QString start()
    {
        const QString socat = QStandardPaths::findExecutable(QStringLiteral("socat"));
        if (socat.isEmpty())
            return QStringLiteral("socat is not installed (scripts/setup-debian.sh installs it)");
        start_tied(_process, socat,
                   {QStringLiteral("pty,raw,echo=0,link=") + first(),
                    QStringLiteral("pty,raw,echo=0,link=") + second()});
        if (!_process.waitForStarted(10000))
            return QStringLiteral("socat did not start: ") + _process.errorString();
        const QDeadlineTimer deadline(20000);
        while (!(QFileInfo::exists(first()) && QFileInfo::exists(second())) && !deadline.hasExpired())
            QTest::qWait(20);
        return QFileInfo::exists(second()) ? QString() : QStringLiteral("socat made no pseudo-terminals");
    }

    ~pty_pair()
    {
        _process.terminate();
        if (!_process.waitForFinished(10000))
            _process.kill();
        _process.waitForFinished(10000);
    }

    /// @return the path of one end
    QString first() const { return _dir.filePath(QStringLiteral("device")); }
    /// @return the path of the other end
    QString second() const { return _dir.filePath(QStringLiteral("client")); }

private:
    QTemporaryDir _dir;
    QProcess _process;
};

} // namespace qz::test

#endif
