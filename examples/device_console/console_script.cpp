// SPDX-License-Identifier: BSD-3-Clause
#include "console_script.h"

#include "console_window.h"
#include "device_faults.h"

#include <qzgui/log_controller.h>

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLineEdit>
#include <QSpinBox>
#include <QTextStream>
#include <QTimer>

namespace device_console {

namespace {

// Waits until the window reports the end of the running operation; false after @p ms.
bool wait_for_operation(console_window& window, int ms = 60000)
{
    QEventLoop loop;
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&window, &console_window::operation_finished, &loop, [&] { loop.exit(0); });
    QObject::connect(&deadline, &QTimer::timeout, &loop, [&] { loop.exit(1); });
    deadline.start(ms);
    return loop.exec() == 0;
}

// Lets the event loop run for @p ms, so that queued reports and log batches arrive.
void settle(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// Types @p text into @p widget key by key, as a keyboard does.
void type_text(QWidget* widget, const QString& text)
{
    for (const QChar c : text) {
        QKeyEvent press(QEvent::KeyPress, 0, Qt::NoModifier, QString(c));
        QKeyEvent release(QEvent::KeyRelease, 0, Qt::NoModifier, QString(c));
        QApplication::sendEvent(widget, &press);
        QApplication::sendEvent(widget, &release);
    }
}

void press_key(QWidget* widget, Qt::Key key)
{
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier);
    QApplication::sendEvent(widget, &press);
    QApplication::sendEvent(widget, &release);
}

} // namespace

int run_script(console_window& window, const QString& screenshot)
{
    QTextStream err(stderr);
    const auto step = [&](const char* what, bool ok) {
        if (!ok)
            err << "script step failed: " << what << "\n";
        return ok;
    };
    window.show();
    settle(100);

    // Connect and read everything.
    window.read_all();
    if (!step("read", wait_for_operation(window)))
        return 1;

    // Three edits as a user makes them.
    window.output_field()->click();
    window.name_field()->setFocus();
    window.name_field()->end(false);
    type_text(window.name_field(), QStringLiteral(" (service)"));
    press_key(window.gain_field(), Qt::Key_Up);
    press_key(window.gain_field(), Qt::Key_Up);

    window.write_changes();
    if (!step("write", wait_for_operation(window)))
        return 1;

    // A parameter file: saved, the device changed meanwhile, then loaded back as pending changes
    // and written, which restores the saved setting.
    const QString parameter_file =
        QFileInfo(screenshot).absoluteDir().filePath(QStringLiteral("device_console_parameters.json"));
    if (!step("save parameters", window.save_parameters_to(parameter_file)))
        return 1;
    window.name_field()->setFocus();
    window.name_field()->selectAll();
    type_text(window.name_field(), QStringLiteral("QZ-1000 bench copy"));
    window.write_changes();
    if (!step("write of the new name", wait_for_operation(window)))
        return 1;
    if (!step("load parameters", window.load_parameters_from(parameter_file)))
        return 1;
    window.write_changes();
    if (!step("write of the loaded parameters", wait_for_operation(window)))
        return 1;

    // The simulated device's faults: a CRC error on the gain, and a slow read stopped while it runs.
    // A real device shows the faults it was started with instead.
    if (device_faults* faults = window.faults()) {
        faults->set_crc_error_on_gain(true);
        window.read_all();
        if (!step("read with CRC fault", wait_for_operation(window)))
            return 1;
    }

    window.select_profile(1);

    if (device_faults* faults = window.faults()) {
        faults->set_crc_error_on_gain(false);
        faults->set_slow_device(true);
        window.read_all();
        settle(1000);
        window.stop();
        if (!step("stopped read", wait_for_operation(window)))
            return 1;
        faults->set_slow_device(false);
    } else {
        window.read_all();
        if (!step("read", wait_for_operation(window)))
            return 1;
    }

    settle(1000); // the log list shows its last batch
    if (!step("screenshot", window.grab().save(screenshot)))
        return 1;

    QFile file(window.log().get_log_file_name());
    if (!step("log file", file.open(QIODevice::ReadOnly)))
        return 1;
    QTextStream out(stdout);
#if QT_VERSION_MAJOR < 6
    out.setCodec("UTF-8"); // Qt 6 streams write UTF-8 already
#endif
    for (const QByteArray& line : file.readAll().split('\n'))
        if (!line.isEmpty())
            out << QString::fromUtf8(line.endsWith('\r') ? line.chopped(1) : line) << "\n";
    out << "screenshot: " << screenshot << "\n";
    return 0;
}

} // namespace device_console
