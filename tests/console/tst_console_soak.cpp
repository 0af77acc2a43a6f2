// SPDX-License-Identifier: BSD-3-Clause
// A long random run of the device console against the simulated device: typing into fields,
// Read, Write, Discard and Stop at any moment (also while an operation runs), profiles, the
// verbose log, the device's faults, the settings dialog, the file dialogs and parameter files.
// After every action the window must answer, the form must agree with the device and the changed
// list must hold exactly the fields edited and not yet written or discarded; at the end every
// operation has ended and the log file holds every line the list was given, plus the trace lines
// the list hid, in order.
//
// The seed is printed; QZGUI_SOAK_SEED=N replays a run, QZGUI_SOAK_ACTIONS=N sets its length.
#include "console_driver.h"
#include "temporary_settings.h"

#include <qzgui/log_controller.h>
#include <qzgui/sat_worker.h>
#include <qzgui/settings_keys.h>

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QListWidget>
#include <QRandomGenerator>
#include <QSet>
#include <QSpinBox>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <thread>

using namespace qz::test::console;
using qz::sim::simulated_module;
namespace dc = device_console;

namespace {

// An action, or waiting for the window, that takes longer than this counts as a hang.
constexpr int hang_seconds = 120;

// Ends the process when the GUI thread stops coming back between actions: a hung window would
// otherwise hold the test until CTest's own time-out, with no word of the seed.
class watchdog {
public:
    explicit watchdog(QString what)
        : _what(std::move(what))
        , _thread([this] { _watch(); })
    {}
    ~watchdog()
    {
        {
            std::lock_guard<std::mutex> guard(_lock);
            _done = true;
        }
        _wake.notify_all();
        _thread.join();
    }
    void beat(int action)
    {
        std::lock_guard<std::mutex> guard(_lock);
        _action = action;
        _last = std::chrono::steady_clock::now();
    }

private:
    void _watch()
    {
        std::unique_lock<std::mutex> guard(_lock);
        while (!_done) {
            if (std::chrono::steady_clock::now() - _last > std::chrono::seconds(hang_seconds)) {
                std::fprintf(stderr, "soak: no answer for %d s after action %d (%s)\n", hang_seconds, _action,
                             qPrintable(_what));
                std::abort();
            }
            _wake.wait_for(guard, std::chrono::seconds(1));
        }
    }

    const QString _what;
    std::mutex _lock;
    std::condition_variable _wake;
    bool _done = false;
    int _action = -1;
    std::chrono::steady_clock::time_point _last = std::chrono::steady_clock::now();
    std::thread _thread;
};

// The offscreen platform says so each time a window asks it for what only a window manager does;
// thousands of those lines would bury the one that tells why a run failed.
QtMessageHandler qt_handler = nullptr;

void quiet_platform(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type == QtWarningMsg && message.startsWith(QLatin1String("This plugin does not support")))
        return;
    qt_handler(type, context, message);
}

QAction* action_named(QWidget* window, const QString& text)
{
    for (QAction* action : window->findChildren<QAction*>())
        if (action->text() == text)
            return action;
    return nullptr;
}

} // namespace

class tst_console_soak : public QObject {
    Q_OBJECT

    std::unique_ptr<qz::test::temporary_settings> _settings;
    std::unique_ptr<QTemporaryDir> _dir;
    std::unique_ptr<simulated_module> _module;
    std::unique_ptr<console_window> _window;
    QStringList _given; // every line the log list was given, in order
    // Where in _given the list began again from empty: a burst of more lines than the list holds
    // replaces every row and shows only the burst's newest lines. The list begins empty too, so a
    // first burst of more lines than it holds is cut the same way.
    QSet<int> _refills{0};
    int _operations_ended = 0;

    console_window& window() { return *_window; }

    QMap<uint32_t, QVariant> field_values()
    {
        QMap<uint32_t, QVariant> values;
        for (const dc::parameter_t& p : dc::parameters())
            values.insert(p.id, window().field_value(p.id));
        return values;
    }

    // Edits the field of @p id as a user does, with a value of its kind.
    void edit(uint32_t id, QRandomGenerator& random)
    {
        QWidget* field = window().field(id);
        if (!field->isEnabled())
            return;
        if (auto* check = qobject_cast<QCheckBox*>(field)) {
            QTest::mouseClick(check, Qt::LeftButton, {}, QPoint(4, check->height() / 2));
        } else if (auto* combo = qobject_cast<QComboBox*>(field)) {
            combo->setFocus();
            const Qt::Key keys[] = {Qt::Key_Down, Qt::Key_Up, Qt::Key_Home, Qt::Key_End};
            QTest::keyClick(combo, keys[random.bounded(4)]);
        } else if (auto* date = qobject_cast<QDateTimeEdit*>(field)) {
            date->setFocus();
            QTest::keyClick(date, random.bounded(2) ? Qt::Key_Up : Qt::Key_Down);
        } else if (qobject_cast<QDoubleSpinBox*>(field)) {
            retype(field, QString::number(random.bounded(380000, 480000) / 1000.0, 'f', 3));
        } else if (id == dc::id_address || id == dc::id_mask) {
            retype(field,
                   QString::number(random.generate() & (id == dc::id_address ? 0xFF : 0xFFFFFFFF), 16));
        } else if (qobject_cast<QSpinBox*>(field)) {
            retype(field, QString::number(random.bounded(-10, 80)));
        } else if (qobject_cast<QLineEdit*>(field)) {
            // Key presses carry ASCII only; the log's treatment of other text has tests of its own.
            const QString texts[] = {QStringLiteral("unit %1").arg(random.bounded(100)),
                                     QStringLiteral("mast \\east"),
                                     QStringLiteral("a \"b\" %1").arg(random.bounded(10)), QString()};
            retype(field, texts[random.bounded(4)]);
        }
    }

    // Opens the modal dialog @p menu_text leads to and cancels it with Escape.
    bool open_and_cancel(const QString& menu_text)
    {
        QAction* action = action_named(&window(), menu_text);
        if (!action)
            return false;
        bool cancelled = false;
        when_modal([&cancelled](QWidget* modal) {
            cancelled = true;
            QTest::keyClick(modal, Qt::Key_Escape);
        });
        action->trigger(); // returns once the dialog is closed
        return cancelled;
    }

    // Whether the window handles an event posted now within the bound.
    bool answers()
    {
        const auto answered = std::make_shared<bool>(false);
        QTimer::singleShot(0, &window(), [answered] { *answered = true; });
        return QTest::qWaitFor([answered] { return *answered; }, hang_seconds * 1000);
    }

private slots:
    void initTestCase()
    {
        qt_handler = qInstallMessageHandler(quiet_platform);
        // Qt's own file dialog, which a test can cancel, on every platform.
        QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
        _settings = std::make_unique<qz::test::temporary_settings>();
        _dir = std::make_unique<QTemporaryDir>();
        _settings->set(QLatin1String(qz::gui::log_location_key), _dir->path());
        qz::gui::register_meta_types();
        _module = std::make_unique<simulated_module>();
        for (const dc::parameter_t& p : dc::parameters())
            _module->store(p.id, p.initial);
        _window = std::make_unique<console_window>(*_module);
        connect(_window.get(), &console_window::operation_finished, this, [this] { ++_operations_ended; });
        auto* list = _window->findChild<QListWidget*>();
        QVERIFY(list);
        connect(list->model(), &QAbstractItemModel::rowsInserted, this,
                [this, list](const QModelIndex&, int first, int last) {
                    for (int row = first; row <= last; ++row)
                        _given << list->item(row)->text();
                });
        connect(list->model(), &QAbstractItemModel::rowsRemoved, this, [this, list] {
            if (list->count() == 0)
                _refills.insert(int(_given.size()));
        });
        _window->show();
        QVERIFY(QTest::qWaitForWindowExposed(_window.get()));
    }

    void cleanupTestCase()
    {
        _window.reset();
        _module.reset();
        qInstallMessageHandler(qt_handler);
    }

    void random_use()
    {
        const QByteArray given_seed = qgetenv("QZGUI_SOAK_SEED");
        const quint32 seed =
            given_seed.isEmpty() ? QRandomGenerator::global()->generate() : given_seed.toUInt();
        const int actions = qEnvironmentVariableIsSet("QZGUI_SOAK_ACTIONS")
            ? qEnvironmentVariableIntValue("QZGUI_SOAK_ACTIONS")
            : 2000;
        qInfo("soak: seed %u, %d actions (QZGUI_SOAK_SEED=%u replays this run)", seed, actions, seed);
        QRandomGenerator random(seed);
        watchdog dog(QStringLiteral("seed %1").arg(seed));
        QElapsedTimer clock;
        clock.start();

        QVector<uint32_t> editable;
        for (const dc::parameter_t& p : dc::parameters())
            if (p.id != dc::id_firmware && p.id != dc::id_level)
                editable.append(p.id);
        const QStringList faults{QStringLiteral("Unplugged (no device at the port)"),
                                 QStringLiteral("Pipe-mode transport"), QStringLiteral("CRC error on gain"),
                                 QStringLiteral("Slow device")};
        auto* verbose = [this] {
            for (QCheckBox* box : window().findChildren<QCheckBox*>())
                if (box->text() == QLatin1String("Verbose log"))
                    return box;
            return static_cast<QCheckBox*>(nullptr);
        }();
        QVERIFY(verbose);
        QStringList saved;
        const QString broken = _dir->filePath(QStringLiteral("broken.json"));
        {
            QFile file(broken);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(
                "{\"format\": \"qzgui parameters\", \"version\": 1, \"parameters\": [{\"id\": 3, \"type\": ");
        }

        // The changed list's bounds: every pending id was touched by the user since it was last
        // settled (or shows what the device does not hold), and every field whose value the user changed
        // stays pending until a write, a discard, a load or a profile switch may settle it, or the device
        // holds what it shows.
        QSet<uint32_t> touched;
        QSet<uint32_t> must_pend;
        int dialogs = 0, files = 0, began = 0;
        click(window().read_button());
        // The last actions, "index:kind" ("b" when the window was busy), for a failure's message:
        // a timing-dependent failure may not come back with its seed.
        QStringList recent;
        for (int i = 0; i < actions; ++i) {
            const QString step = QStringLiteral("action %1 (seed %2)").arg(i).arg(seed);
            const QMap<uint32_t, QVariant> before = field_values();
            const bool was_busy = window().is_busy();
            bool settles = false;
            int edited = -1;
            const int kind = int(random.bounded(20));
            recent.append(
                QStringLiteral("%1:%2%3").arg(i).arg(kind).arg(was_busy ? QStringLiteral("b") : QString()));
            if (recent.size() > 20)
                recent.removeFirst();
            switch (kind) {
            case 0:
            case 1:
            case 2:
            case 3:
            case 4:
            case 5:
            case 6:
                edited = int(editable[int(random.bounded(int(editable.size())))]);
                edit(uint32_t(edited), random);
                break;
            case 7:
            case 8:
                click(window().read_button());
                break;
            case 9:
            case 10:
                click(window().write_button());
                settles = true;
                break;
            case 11:
                click(window().discard_button());
                settles = true;
                break;
            case 12:
                click(window().stop_button());
                break;
            case 13: {
                QComboBox* box = window().profile_box();
                box->setFocus();
                QTest::keyClick(box, random.bounded(2) ? Qt::Key_Home : Qt::Key_End);
                settles = true;
                break;
            }
            case 14:
                click(verbose);
                break;
            case 15: {
                // Mostly clearing: the faults come and go, and the device works most of the time.
                QAction* fault = action_named(&window(), faults[int(random.bounded(4))]);
                QVERIFY(fault);
                if (fault->isChecked() || random.bounded(3) == 0)
                    fault->trigger();
                break;
            }
            case 16:
                QVERIFY2(open_and_cancel(random.bounded(2) ? QStringLiteral("&Settings...")
                                                           : QStringLiteral("&Load parameters...")),
                         qPrintable(step));
                ++dialogs;
                break;
            case 17: {
                const QString path = _dir->filePath(QStringLiteral("set-%1.json").arg(i));
                if (window().save_parameters_to(path))
                    saved << path;
                ++files;
                break;
            }
            default: {
                const int pick = int(random.bounded(int(saved.size()) + 1));
                window().load_parameters_from(pick < saved.size() ? saved[pick] : broken);
                settles = true;
                ++files;
                break;
            }
            }
            if (!was_busy && window().is_busy())
                ++began;
            QTest::qWait(int(random.bounded(25)));
            QVERIFY2(answers(), qPrintable(step));
            dog.beat(i);

            // What the user changed is pending; what is pending, the user changed.
            const QMap<uint32_t, QVariant> after = field_values();
            if (settles)
                must_pend.clear();
            if (edited >= 0)
                touched.insert(uint32_t(edited));
            // A value the device sent may have arrived meanwhile: only a value the device does not
            // hold is surely the user's.
            if (edited >= 0 && before.value(uint32_t(edited)) != after.value(uint32_t(edited))
                && after.value(uint32_t(edited)) != _module->stored(uint32_t(edited)))
                must_pend.insert(uint32_t(edited));
            if (kind == 13 || kind >= 18)
                for (const uint32_t id : editable)
                    if (before.value(id) != after.value(id))
                        touched.insert(id);
            const QVector<uint32_t> pending = window().pending_ids();
            QCOMPARE(QSet<uint32_t>(pending.cbegin(), pending.cend()).size(), pending.size());
            // A change the device now holds anyway is no change any more.
            for (const uint32_t id : QSet<uint32_t>(must_pend))
                if (!pending.contains(id) && after.value(id) == _module->stored(id))
                    must_pend.remove(id);
            for (const uint32_t id : must_pend)
                QVERIFY2(pending.contains(id),
                         qPrintable(QStringLiteral("%1: %2 was changed (%3 to %4) and is not pending")
                                        .arg(step, dc::parameter_name(id), before.value(id).toString(),
                                             after.value(id).toString())));
            // Untouched, a field is pending only when it cannot show what the device holds (a
            // value the active profile has no room for): the form says it disagrees.
            for (const uint32_t id : pending)
                QVERIFY2(
                    touched.contains(id) || after.value(id) != _module->stored(id),
                    qPrintable(QStringLiteral("%1: %2 is pending, but nobody changed it (action kind %3, "
                                              "%4 to %5, busy %6)")
                                   .arg(step, dc::parameter_name(id))
                                   .arg(kind)
                                   .arg(before.value(id).toString(), after.value(id).toString())
                                   .arg(was_busy)));
            touched = QSet<uint32_t>(pending.cbegin(), pending.cend());
            if (!window().is_busy()) {
                const QString problem = form_mismatch(window(), *_module);
                QVERIFY2(problem.isEmpty(),
                         qPrintable(QStringLiteral("%1: %2 (last actions: %3)")
                                        .arg(step, problem, recent.join(QLatin1Char(' ')))));
            }
        }

        // The device back to normal, the last operation let end, and the last batch shown.
        for (const QString& text : faults)
            if (QAction* fault = action_named(&window(), text); fault && fault->isChecked())
                fault->trigger();
        QVERIFY(QTest::qWaitFor([this] { return !window().is_busy(); }, hang_seconds * 1000));
        dog.beat(actions);
        QVERIFY(form_mismatch(window(), *_module).isEmpty());
        window().log().log(qz::gui::log_item::INFO, QStringLiteral("soak: the end"));
        QVERIFY(QTest::qWaitFor(
            [this] { return !_given.isEmpty() && _given.last().endsWith(QLatin1String("soak: the end")); },
            10000));

        // Every operation that began ended, one at a time.
        const QStringList lines = file_lines(window().log().get_log_file_name());
        QString problem;
        QVERIFY2(operations_are_closed(logged_messages(window()), &problem), qPrintable(problem));
        const int begins = int(logged_messages(window())
                                   .filter(QRegularExpression(QStringLiteral("^begin of \\w+ operation$")))
                                   .size());
        QCOMPARE(_operations_ended, begins);
        QVERIFY(began <= begins);

        // The file holds the list's lines in order, and besides them only trace lines, and the
        // oldest lines of a burst the list had no room for: those end where the list was refilled
        // whole with the burst's newest lines.
        const int room = int(window().log().get_max_visible_lines());
        const auto refilled_at = [&](int at) { return _refills.contains(at) && _given.size() - at >= room; };
        int next = 0;
        int hidden = 0;
        int cut = 0;
        for (const QString& line : lines) {
            if (next < _given.size() && line == _given[next]) {
                ++next;
                continue;
            }
            if (line.mid(25, 5) == QLatin1String("QZTTC")) {
                ++hidden;
                continue;
            }
            QVERIFY2(refilled_at(next),
                     qPrintable(QStringLiteral("in the file, not in the list: %1\n   the list's next: %2")
                                    .arg(line, _given.value(next))));
            ++cut;
        }
        QVERIFY2(next == _given.size(),
                 qPrintable(QStringLiteral("in the list, not in the file: %1").arg(_given.value(next))));
        qInfo("soak: %d actions in %.1f s; %d operations, %d dialogs, %d file actions; %d log lines, %d "
              "trace lines hidden, %d other lines cut from bursts",
              actions, clock.elapsed() / 1000.0, begins, dialogs, files, int(lines.size()), hidden, cut);
    }
};

QTEST_MAIN(tst_console_soak)
#include "tst_console_soak.moc"
