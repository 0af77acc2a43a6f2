// SPDX-License-Identifier: BSD-3-Clause
// Driving the device console's real window as a user does, and reading what it left behind: the
// helpers of the console's rule and soak tests.
#ifndef QZGUI_TESTS_CONSOLE_DRIVER_H
#define QZGUI_TESTS_CONSOLE_DRIVER_H

#include "console_window.h"
#include "device_parameters.h"
#include "form_fixture.h"

#include "simulator/simulated_module.h"

#include <qzgui/log_controller.h>

#include <QAbstractButton>
#include <QApplication>
#include <QFile>
#include <QFont>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QTimer>
#include <QtTest>

#include <functional>

namespace qz::test::console {

using device_console::console_window;

inline QStringList file_lines(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList lines = QString::fromUtf8(file.readAll()).split(QStringLiteral("\r\n"));
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

// The messages of the log file's lines, without time stamp and level.
inline QStringList logged_messages(console_window& window)
{
    QStringList messages;
    for (const QString& line : file_lines(window.log().get_log_file_name()))
        messages << line.mid(31);
    return messages;
}

// Every "begin of X operation" is followed by its "end of X operation" before the next begins.
inline bool operations_are_closed(const QStringList& messages, QString* problem)
{
    QString open;
    for (const QString& m : messages) {
        static const QRegularExpression phase(QStringLiteral("^(begin|end) of (\\w+) operation$"));
        const auto match = phase.match(m);
        if (!match.hasMatch())
            continue;
        if (match.captured(1) == QLatin1String("begin")) {
            if (!open.isEmpty()) {
                *problem = QStringLiteral("begin of %1 while %2 was open").arg(match.captured(2), open);
                return false;
            }
            open = match.captured(2);
        } else if (open != match.captured(2)) {
            *problem = QStringLiteral("end of %1 without its begin").arg(match.captured(2));
            return false;
        } else {
            open.clear();
        }
    }
    if (!open.isEmpty())
        *problem = QStringLiteral("%1 never ended").arg(open);
    return open.isEmpty();
}

inline bool underlined(console_window& window, uint32_t id)
{
    return window.hint(id)->font().underline();
}

// The first field that neither shows what @p module holds nor is pending, or whose change hint
// disagrees with the changed list; empty when every field is in step.
// Whether @p field shows no value: a half-checked box, an empty spin box or line edit, a combo box
// with nothing chosen.
inline bool shows_no_value(QWidget* field)
{
    if (auto* box = qobject_cast<QCheckBox*>(field))
        return box->checkState() == Qt::PartiallyChecked;
    // A spin box holds its blank lowest value; text typed but not yet taken (out of range, say)
    // is no value either, as for a field that was read.
    if (auto* spin = qobject_cast<QSpinBox*>(field))
        return spin->specialValueText() == QLatin1String(" ") && spin->value() == spin->minimum();
    if (auto* spin = qobject_cast<QDoubleSpinBox*>(field))
        return spin->specialValueText() == QLatin1String(" ") && spin->value() == spin->minimum();
    if (auto* edit = qobject_cast<QDateTimeEdit*>(field))
        return edit->specialValueText() == QLatin1String(" ") && edit->dateTime() == edit->minimumDateTime();
    if (auto* combo = qobject_cast<QComboBox*>(field))
        return combo->currentIndex() < 0;
    if (auto* edit = qobject_cast<QLineEdit*>(field))
        return edit->text().isEmpty();
    return false;
}

inline QString form_mismatch(console_window& window, const qz::sim::simulated_module& module)
{
    namespace dc = device_console;
    const QVector<uint32_t> pending = window.pending_ids();
    for (const dc::parameter_t& p : dc::parameters()) {
        if (p.id == dc::id_firmware || p.id == dc::id_level)
            continue; // shown only, never edited
        const QVariant shown = window.field_value(p.id);
        const QVariant held = module.stored(p.id);
        // Never read (the first read stopped or failed): the field shows no value at all.
        if (!pending.contains(p.id) && !window.has_device_value(p.id)) {
            if (!shows_no_value(window.field(p.id)))
                return QStringLiteral("%1 shows %2, but the device's value never came")
                    .arg(dc::parameter_name(p.id), shown.toString());
            continue;
        }
        if (!pending.contains(p.id) && shown != held)
            return QStringLiteral("%1 shows %2, the device holds %3, not pending")
                .arg(dc::parameter_name(p.id), shown.toString(), held.toString());
        if (underlined(window, p.id) != pending.contains(p.id))
            return QStringLiteral("%1 is %2underlined")
                .arg(dc::parameter_name(p.id), underlined(window, p.id) ? QString() : QStringLiteral("not "));
    }
    return QString();
}

inline void click(QAbstractButton* button)
{
    QTest::mouseClick(button, Qt::LeftButton);
}

// Once a modal window is up, hands it to @p act, once.
inline void when_modal(const std::function<void(QWidget*)>& act)
{
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, [poll, act] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal)
            return;
        poll->deleteLater();
        poll->stop();
        act(modal);
    });
    poll->start(10);
}

// Once the question that closing asks is up, clicks its button with @p text.
inline void answer_close_question(const QString& text)
{
    when_modal([text](QWidget* modal) {
        auto* box = qobject_cast<QMessageBox*>(modal);
        if (!box)
            return;
        for (QAbstractButton* button : box->buttons())
            if (button->text().remove(QLatin1Char('&')) == text) {
                QTest::mouseClick(button, Qt::LeftButton);
                return;
            }
        box->reject(); // a missing button shows as the window left open
    });
}

using qz::test::retype;

} // namespace qz::test::console

#endif
