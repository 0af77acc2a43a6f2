// SPDX-License-Identifier: BSD-3-Clause
#include "monitor_tab.h"

#include <qzgui/parameter_id.h>
#include <qzgui/poller.h>
#include <qzgui/printable_text.h>
#include <qzgui/sample_recorder.h>
#include <qzgui/trend/trend_view.h>

#include <QDateTime>
#include <QDir>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QSpinBox>
#include <QSplitter>
#include <QTimer>
#include <QVBoxLayout>

#include <stdexcept>

namespace qz::panel {

namespace {

constexpr int redraw_ms = 250; // four redraws a second: a live trend, little work
const char* const key_interval = "qzpanel/monitor_interval";

QString item_text(const qz::gui::parameter_description& p)
{
    QString text = qz::gui::short_parameter_id_text(p.id);
    if (!p.name.isEmpty())
        text += QLatin1Char(' ') + qz::gui::printable_text(p.name);
    if (!p.unit.isEmpty())
        text += QStringLiteral(" (%1)").arg(qz::gui::printable_text(p.unit));
    return text;
}

} // namespace

monitor_tab::monitor_tab(const QVector<qz::gui::parameter_description>& parameters,
                         qz::gui::sat_worker* worker, QWidget* parent)
    : QWidget(parent)
    , _poller(std::make_unique<qz::gui::poller>(worker))
{
    // A trend draws numbers; booleans as 0 and 1. Texts have no line.
    for (const qz::gui::parameter_description& p : parameters)
        if (p.type != QMetaType::QString)
            _parameters.append(p);

    _list = new QListWidget;
    for (const qz::gui::parameter_description& p : std::as_const(_parameters)) {
        auto* item = new QListWidgetItem(item_text(p), _list);
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(Qt::Unchecked);
        item->setData(Qt::UserRole, p.id);
    }
    _interval = new QSpinBox;
    _interval->setRange(0, 3600000);
    _interval->setSingleStep(100);
    _interval->setValue(QSettings().value(QLatin1String(key_interval), 1000).toInt());
    _interval->setSuffix(tr(" ms"));
    _interval->setToolTip(tr("From the start of one sweep to the start of the next; 0: back to back"));
    _start = new QPushButton(tr("Start"));
    _stop = new QPushButton(tr("Stop"));
    _record = new QPushButton(tr("Record to CSV..."));
    _stop_recording = new QPushButton(tr("Stop recording"));
    _recording = new QLabel(tr("Not recording"));
    _recording->setTextInteractionFlags(Qt::TextSelectableByMouse);

    _trend = new qz::gui::trend_view(&_history);
    _redraw = new QTimer(this);
    _redraw->setInterval(redraw_ms);
    connect(_redraw, &QTimer::timeout, this, [this] {
        _trend->refresh();
        _show_recording();
    });

    auto* controls = new QWidget;
    auto* form = new QFormLayout(controls);
    form->addRow(_list);
    form->addRow(tr("Interval:"), _interval);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(_start);
    buttons->addWidget(_stop);
    form->addRow(buttons);
    auto* recording = new QHBoxLayout;
    recording->addWidget(_record);
    recording->addWidget(_stop_recording);
    form->addRow(recording);
    form->addRow(_recording);
    auto* splitter = new QSplitter;
    splitter->addWidget(controls);
    splitter->addWidget(_trend);
    splitter->setStretchFactor(1, 1);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(splitter);

    connect(_start, &QPushButton::clicked, this, [this] {
        if (const QString error = start(); !error.isEmpty())
            QMessageBox::information(this, tr("Monitor"), error);
    });
    connect(_stop, &QPushButton::clicked, this, &monitor_tab::stop);
    connect(_record, &QPushButton::clicked, this, &monitor_tab::_ask_record);
    connect(_stop_recording, &QPushButton::clicked, this, &monitor_tab::stop_recording);
    // The trend shows what is ticked, polled or not.
    connect(_list, &QListWidget::itemChanged, this, [this](QListWidgetItem* item) {
        const uint32_t id = item->data(Qt::UserRole).toUInt();
        if (item->checkState() == Qt::Checked) {
            for (const qz::gui::parameter_description& p : std::as_const(_parameters))
                if (p.id == id)
                    _trend->add_parameter(p);
        } else {
            _trend->remove_parameter(id);
        }
        _trend->refresh();
    });

    connect(_poller.get(), &qz::gui::poller::on_sample, this,
            [this](uint32_t id, const QVariant& value, qint64 time) {
                // A boolean is 0 or 1 on the trend.
                bool number = false;
                const double v = value.toDouble(&number);
                if (number)
                    _history.add(id, time, v);
                if (_recorder)
                    _recorder->add(id, value, time);
            });
    connect(_poller.get(), &qz::gui::poller::on_sample_error, this,
            [this](uint32_t id, const qz::gui::error_descriptor&, qint64 time) {
                _history.add_gap(id, time);
                if (_recorder)
                    _recorder->add_error(id, time);
            });
    connect(_poller.get(), &qz::gui::poller::on_link, this, [this](bool up, const QString& text) {
        // The trend breaks where the device was gone.
        if (!up)
            for (const uint32_t id : std::as_const(_polled))
                _history.add_gap(id, QDateTime::currentMSecsSinceEpoch());
        emit link_changed(up, text);
    });
    _update_buttons();
}

monitor_tab::~monitor_tab() = default;

void monitor_tab::set_ticked(const QVector<uint32_t>& ids)
{
    for (int row = 0; row < _list->count(); ++row) {
        QListWidgetItem* item = _list->item(row);
        item->setCheckState(ids.contains(item->data(Qt::UserRole).toUInt()) ? Qt::Checked : Qt::Unchecked);
    }
}

QVector<uint32_t> monitor_tab::ticked() const
{
    QVector<uint32_t> ids;
    for (int row = 0; row < _list->count(); ++row)
        if (_list->item(row)->checkState() == Qt::Checked)
            ids.append(_list->item(row)->data(Qt::UserRole).toUInt());
    return ids;
}

QVector<uint32_t> monitor_tab::offered() const
{
    QVector<uint32_t> ids;
    for (const qz::gui::parameter_description& p : _parameters)
        ids.append(p.id);
    return ids;
}

void monitor_tab::set_interval(int ms)
{
    _interval->setValue(ms);
}

QString monitor_tab::start()
{
    const QVector<uint32_t> ids = ticked();
    if (ids.isEmpty())
        return tr("Tick the parameters to monitor first.");
    _polled = ids;
    QSettings().setValue(QLatin1String(key_interval), _interval->value());
    _poller->start(ids, _interval->value());
    _redraw->start();
    _update_buttons();
    emit report(
        false,
        QStringLiteral("monitoring %1 parameters every %2 ms").arg(ids.size()).arg(_interval->value()));
    emit activity_changed(true);
    return QString();
}

void monitor_tab::stop()
{
    if (!_poller->is_active())
        return;
    _poller->stop();
    stop_recording();
    _redraw->stop();
    _trend->refresh();
    _update_buttons();
    emit report(false, QStringLiteral("monitoring stopped"));
    emit activity_changed(false);
}

bool monitor_tab::is_active() const
{
    return _poller->is_active();
}

int monitor_tab::interval() const
{
    return _interval->value();
}

QString monitor_tab::record(const QString& path)
{
    if (!_poller->is_active())
        return tr("Start monitoring first: the file records what is polled.");
    QVector<qz::gui::parameter_description> columns;
    for (const qz::gui::parameter_description& p : std::as_const(_parameters))
        if (_polled.contains(p.id))
            columns.append(p);
    // The recording that runs goes on until the new file is open: a mistyped name loses nothing.
    std::unique_ptr<qz::gui::sample_recorder> recorder;
    try {
        recorder = std::make_unique<qz::gui::sample_recorder>(path, columns);
    } catch (const std::exception& e) {
        QString error = QString::fromUtf8(e.what());
        if (_recorder)
            error += tr("; recording to %1 goes on").arg(QDir::toNativeSeparators(_record_path));
        emit report(true, qz::gui::printable_text(error));
        return error;
    }
    stop_recording();
    _recorder = std::move(recorder);
    connect(_recorder.get(), &qz::gui::sample_recorder::on_fault, this,
            [this](const QString& text) { emit report(true, qz::gui::printable_text(text)); });
    _record_path = path;
    emit report(
        false,
        QStringLiteral("recording to %1").arg(qz::gui::printable_text(QDir::toNativeSeparators(path))));
    _update_buttons();
    _show_recording();
    return QString();
}

void monitor_tab::stop_recording()
{
    if (!_recorder)
        return;
    _recorder.reset(); // writes out what waits
    emit report(false,
                QStringLiteral("recording to %1 ended")
                    .arg(qz::gui::printable_text(QDir::toNativeSeparators(_record_path))));
    _update_buttons();
    _recording->setText(tr("Not recording"));
}

int monitor_tab::recorded_rows() const
{
    return _recorder ? _recorder->rows() : -1;
}

void monitor_tab::_ask_record()
{
    const QString path = QFileDialog::getSaveFileName(this, tr("Record to CSV"), QString(),
                                                      tr("CSV files (*.csv);;All files (*)"));
    if (path.isEmpty())
        return;
    if (const QString error = record(path); !error.isEmpty())
        QMessageBox::warning(this, tr("Record to CSV"), error);
}

void monitor_tab::_show_recording()
{
    if (_recorder)
        _recording->setText(tr("Recording to %1: %n row(s)", nullptr, _recorder->rows())
                                .arg(QDir::toNativeSeparators(_record_path)));
}

void monitor_tab::_update_buttons()
{
    const bool active = _poller->is_active();
    _start->setEnabled(!active);
    _stop->setEnabled(active);
    _list->setEnabled(!active);
    _interval->setEnabled(!active);
    _record->setEnabled(active);
    _record->setText(_recorder ? tr("Record to another file...") : tr("Record to CSV..."));
    _stop_recording->setEnabled(bool(_recorder));
}

} // namespace qz::panel
