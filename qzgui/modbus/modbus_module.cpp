// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/modbus/modbus_module.h"

#include "qzgui/modbus/internal/device_address.h"
#include "qzgui/modbus/internal/modbus_frame.h"
#include "qzgui/modbus/io_thread_p.h"
#include "qzgui/modbus/modbus_link_p.h"

#include "qzgui/settings_keys.h"

#include <module_api/media_exception.h>
#include <module_api/proto_exception.h>

#include <QPointer>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace qz::modbus {

using qz::api::proto::media_exception;
using qz::api::proto::proto_exception;

namespace {

const char* table_name(table_e table)
{
    static const char* const names[] = {"coil", "discrete", "input", "holding"};
    return table >= coil && table <= holding ? names[table] : "unknown";
}

qz::api::proto::command_config default_config()
{
    namespace cs = qz::gui::command_settings;
    return {uint32_t(cs::persistent_time.default_value),
            cs::timeout_pipe.default_value,
            cs::timeout_xs.default_value,
            cs::timeout_s.default_value,
            cs::timeout_m.default_value,
            cs::timeout_l.default_value,
            cs::timeout_xl.default_value,
            cs::repeats_xs.default_value,
            cs::repeats_s.default_value,
            cs::repeats_m.default_value,
            cs::repeats_l.default_value,
            cs::repeats_xl.default_value};
}

// The Modbus exception codes, by name.
enum exception_e : int {
    illegal_function = 0x01,
    illegal_data_address = 0x02,
    illegal_data_value = 0x03,
    server_device_busy = 0x06
};

QString exception_name(int code)
{
    static const char* const names[] = {nullptr,
                                        "illegal function",
                                        "illegal data address",
                                        "illegal data value",
                                        "server device failure",
                                        "acknowledge",
                                        "server device busy",
                                        "negative acknowledge",
                                        "memory parity error",
                                        nullptr,
                                        "gateway path unavailable",
                                        "gateway target failed to respond"};
    const char* const name = code >= 0 && code < int(std::size(names)) ? names[code] : nullptr;
    return QLatin1String(name ? name : "unknown exception");
}

proto_exception::exception_type_e exception_kind(int code)
{
    switch (code) {
    case illegal_function:
        return proto_exception::response_error;
    case illegal_data_address:
    case illegal_data_value:
        return proto_exception::parameter_error;
    case server_device_busy:
        return proto_exception::busy;
    default:
        return proto_exception::general_error;
    }
}

// How much longer than the link's own time-outs a wait for a reply may last: the link's timers
// end it normally, this only should they ever fail to.
constexpr int reply_margin_ms = 1000;

} // namespace

struct modbus_module::exchange_t {
    // Fixed before the exchange is handed to the I/O thread.
    table_e table = holding;
    uint16_t start = 0;
    int count = 0;
    bool reading = true;
    QVector<uint16_t> values; // a write's
    int timeout_ms = 0;
    int repeats = 0;
    bool follow_up = false;     // sent after another: see send_after()
    uint64_t aborts_before = 0; // abort() calls before it was made; a later one holds it back
    uint64_t closes_before = 0; // disconnect() calls before it was made; a later one ends it

    // The I/O thread only.
    QByteArray pdu;             // the request as sent
    bool awaited = false;       // sent, and its reply not yet in
    int handle = 0;             // the link's, while awaited
    QPointer<modbus_link> link; // the link it was sent on
    // How far the request is: queued to go out at once; held until the reply to the one before it
    // is in; waiting for finish_read() (the one before got an exception reply or was dropped);
    // sent; or dropped unsent.
    enum class stage_e { queued, held, on_finish, sent, dropped } stage = stage_e::queued;
    bool exception_reply = false;     // answered with a Modbus exception
    std::shared_ptr<exchange_t> then; // held until this one's reply is in

    // Under the io thread's lock.
    bool done = false;
    uint64_t aborts_when_done = 0; // abort() calls before its outcome was in
    QVector<uint16_t> result;
    std::exception_ptr error;
};

struct modbus_module::private_t {
    QString text;
    address_t address;
    qz::api::proto::qz_media media;
    qz::api::proto::command_config config = default_config();
    bool open = false;   // the caller's thread: connected, and not disconnected since
    uint64_t closes = 0; // the caller's thread: disconnect() calls so far

    // The I/O thread only.
    std::unique_ptr<modbus_link> link;
    // Exchanges on their way, ended as "nothing on its way" when the connection closes.
    std::vector<std::weak_ptr<exchange_t>> on_their_way;

    // Under io->lock: abort() came, and no wait has spent it yet; how often it came in all.
    bool aborted = false;
    uint64_t aborts = 0;

    // Under state_lock: set_persistent() comes from any thread. Held while a task is posted, so
    // that tasks of two threads reach the I/O thread in the order they were decided.
    std::mutex state_lock;
    bool persistent = false;
    bool in_operation = false; // from connect() to disconnect()

    // The I/O thread only: closes a kept connection after a time with nothing to do.
    QTimer* idle = nullptr;

    // Last: ended, with nothing more running in it, before the members above go.
    std::shared_ptr<io_thread> io = std::make_shared<io_thread>();

    // "tcp://127.0.0.1:1502 unit 1, holding 10 to 19": a message is "PLACE: DETAIL", and the place
    // holds no ": " of its own, so that a tool can show the detail alone.
    QString where(table_e table, uint16_t start, int count) const
    {
        return QStringLiteral("%1 unit %2, %3 %4 to %5")
            .arg(text)
            .arg(address.unit)
            .arg(QLatin1String(table_name(table)))
            .arg(start)
            .arg(int(start) + count - 1);
    }

    // The I/O thread: hands the outcome of @p ex to the caller waiting for it, once.
    void settle(exchange_t& ex, QVector<uint16_t> result, std::exception_ptr error)
    {
        std::lock_guard<std::mutex> guard(io->lock);
        if (ex.done)
            return;
        ex.done = true;
        ex.aborts_when_done = aborts;
        ex.result = std::move(result);
        ex.error = std::move(error);
        io->changed.notify_all();
    }

    template <typename Exception>
    void fail(exchange_t& ex, const Exception& e)
    {
        settle(ex, {}, std::make_exception_ptr(e));
    }

    // Waits for @p ex, for abort() or for @p timeout_ms to pass (then throws what @p on_timeout
    // makes); rethrows the exchange's own failure.
    template <typename Timeout>
    QVector<uint16_t> await(exchange_t& ex, int timeout_ms, Timeout on_timeout)
    {
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(std::max(timeout_ms, 0));
        std::unique_lock<std::mutex> wait(io->lock);
        for (;;) {
            // A stop that came before the wait ends it too: it was meant for the call in progress.
            if (aborted) {
                aborted = false;
                throw media_exception(media_exception::stopped, "stopped");
            }
            if (ex.done)
                break;
            if (io->changed.wait_until(wait, deadline) == std::cv_status::timeout && !ex.done && !aborted)
                throw on_timeout();
        }
        // Taken out under the lock: the exception object then ends in this thread, whichever
        // thread lets go of the exchange last.
        if (ex.error)
            std::rethrow_exception(std::exchange(ex.error, nullptr));
        return std::move(ex.result);
    }

    // The I/O thread: makes the link and begins to connect.
    void open_client(const std::shared_ptr<exchange_t>& attempt)
    {
        link = modbus_link::make(address);
        link->open([this, attempt](const QString& error) {
            if (error.isEmpty())
                settle(*attempt, {}, {});
            else
                fail(*attempt, no_connection(error));
        });
    }

    media_exception no_connection(const QString& why) const
    {
        return media_exception(media_exception::no_device,
                               QStringLiteral("%1: no connection (%2)").arg(text, why).toStdString());
    }

    // The I/O thread: ends what is on its way; a reply still to come is dropped.
    void end_exchanges()
    {
        for (const std::weak_ptr<exchange_t>& weak : on_their_way)
            if (const std::shared_ptr<exchange_t> ex = weak.lock()) {
                fail(*ex, nothing_on_its_way(ex->table, ex->start, ex->count));
                // One held for later never goes out in another operation.
                ex->stage = exchange_t::stage_e::dropped;
                ex->then.reset();
                if (ex->awaited && ex->link)
                    ex->link->cancel(ex->handle);
                ex->awaited = false;
            }
        on_their_way.clear();
    }

    // The I/O thread: ends what is on its way and closes the link.
    void close_client()
    {
        if (idle)
            idle->stop();
        end_exchanges();
        link.reset();
    }

    // The I/O thread: the operation is over, its link stays open for @p ms more.
    void keep_client(int ms)
    {
        end_exchanges();
        if (!link)
            return;
        if (!idle) {
            idle = new QTimer(io->context()); // goes with the thread
            idle->setSingleShot(true);
            QObject::connect(idle, &QTimer::timeout, idle, [this] { close_client(); });
        }
        idle->start(std::max(ms, 0));
    }

    // The caller's thread: closes the link and forgets it was open.
    void close_now()
    {
        open = false;
        io->post([this] { close_client(); });
    }

    media_exception nothing_on_its_way(table_e table, uint16_t start, int count) const
    {
        return media_exception(
            media_exception::not_open,
            QStringLiteral("%1: nothing on its way (the connection was closed, or the reply was taken)")
                .arg(where(table, start, count))
                .toStdString());
    }

    // The I/O thread: keeps @p ex to be ended when the connection closes.
    void remember(const std::shared_ptr<exchange_t>& ex)
    {
        on_their_way.erase(std::remove_if(on_their_way.begin(), on_their_way.end(),
                                          [](const std::weak_ptr<exchange_t>& w) { return w.expired(); }),
                           on_their_way.end());
        on_their_way.push_back(ex);
    }

    // The I/O thread: sends @p ex once the reply to @p previous is in, unless that reply is
    // a Modbus exception (or @p previous is dropped): then it waits for finish_read().
    void send_after(const std::shared_ptr<exchange_t>& previous, const std::shared_ptr<exchange_t>& ex)
    {
        using stage_e = exchange_t::stage_e;
        if (previous->awaited || previous->stage == stage_e::held || previous->stage == stage_e::on_finish) {
            ex->stage = stage_e::held;
            previous->then = ex;
            remember(ex);
        } else if (previous->exception_reply || previous->stage == stage_e::dropped
                   || stopped_before(*previous, *ex)) {
            ex->stage = stage_e::on_finish;
            remember(ex);
        } else {
            send(ex);
        }
    }

    // Whether abort() came after @p ex was made: a stop sends nothing more on its own.
    bool stopped_since(const exchange_t& ex)
    {
        std::lock_guard<std::mutex> guard(io->lock);
        return aborts != ex.aborts_before;
    }

    // Whether abort() came after @p ex was made and before the outcome of @p previous, which is
    // in: what counts is the stop's place against the reply, not when this thread gets to @p ex.
    bool stopped_before(const exchange_t& previous, const exchange_t& ex)
    {
        std::lock_guard<std::mutex> guard(io->lock);
        return previous.aborts_when_done != ex.aborts_before;
    }

    // The I/O thread: sends the request of @p ex.
    void send(const std::shared_ptr<exchange_t>& ex)
    {
        ex->stage = exchange_t::stage_e::sent;
        if (!link) {
            fail(*ex,
                 media_exception(media_exception::not_open,
                                 (text + QStringLiteral(": not connected")).toStdString()));
            return;
        }
        // A link that failed during the operation stays failed for the rest of it.
        if (!link->is_open()) {
            fail(*ex, lost(*ex, link->failure()));
            return;
        }
        ex->pdu = ex->reading ? frame::read_request(ex->table, ex->start, ex->count)
                              : frame::write_request(ex->table, ex->start, ex->values);
        if (ex->pdu.isEmpty()) {
            fail(*ex,
                 proto_exception(proto_exception::parameter_error,
                                 QStringLiteral("%1: the table cannot be written")
                                     .arg(where(ex->table, ex->start, ex->count))
                                     .toStdString()));
            return;
        }
        ex->awaited = true;
        ex->link = link.get();
        remember(ex);
        ex->handle =
            link->send(ex->pdu, std::max(ex->timeout_ms, 10), std::max(ex->repeats, 0),
                       [this, ex](const modbus_link::outcome_t& outcome) { take_reply(*ex, outcome); });
    }

    media_exception lost(const exchange_t& ex, const QString& why) const
    {
        return media_exception(media_exception::no_device,
                               QStringLiteral("%1: connection lost (%2)")
                                   .arg(where(ex.table, ex.start, ex.count), why)
                                   .toStdString());
    }

    // The I/O thread: the outcome of a request that was sent.
    void take_reply(exchange_t& ex, const modbus_link::outcome_t& outcome)
    {
        ex.awaited = false;
        // Dropped meanwhile: nobody wants it.
        if (ex.stage == exchange_t::stage_e::dropped)
            return;
        QVector<uint16_t> values;
        std::exception_ptr error;
        try {
            values = interpret(outcome, ex);
        } catch (...) {
            error = std::current_exception();
        }
        // The request held behind this one goes out now, before its caller has even woken up.
        // After an exception reply the caller may first want to ask again in smaller pieces.
        if (const std::shared_ptr<exchange_t> next = std::exchange(ex.then, nullptr);
            next && next->stage == exchange_t::stage_e::held) {
            if (ex.exception_reply || stopped_since(*next))
                next->stage = exchange_t::stage_e::on_finish;
            else
                send(next);
        }
        settle(ex, std::move(values), std::move(error));
    }

    // Turns the outcome of a request into its values or the interface's exceptions.
    QVector<uint16_t> interpret(const modbus_link::outcome_t& outcome, exchange_t& ex) const
    {
        using kind_e = modbus_link::outcome_t::kind_e;
        // Named only for a failure: a reply that succeeds costs no text.
        const auto place = [&] { return where(ex.table, ex.start, ex.count); };
        const auto unfit = [&](const QString& why) {
            return proto_exception(proto_exception::invalid_result,
                                   QStringLiteral("%1: the reply does not fit the request (%2)")
                                       .arg(place(), why)
                                       .toStdString());
        };
        switch (outcome.kind) {
        case kind_e::answered:
            break;
        case kind_e::no_answer:
            throw media_exception(ex.reading ? media_exception::read_failed : media_exception::write_failed,
                                  QStringLiteral("%1: no answer within %2 ms, %3 times")
                                      .arg(place())
                                      .arg(std::max(ex.timeout_ms, 10))
                                      .arg(std::max(ex.repeats, 0) + 1)
                                      .toStdString());
        case kind_e::bad_crc:
            throw proto_exception(
                proto_exception::crc_error,
                QStringLiteral("%1: no reply with a right checksum").arg(place()).toStdString());
        case kind_e::unfit:
            throw unfit(outcome.detail);
        case kind_e::lost:
            throw lost(ex, outcome.detail);
        }
        frame::reply_t reply = frame::read_reply(ex.pdu, outcome.pdu, ex.count);
        if (reply.exception) {
            ex.exception_reply = true;
            throw proto_exception(
                exception_kind(reply.exception),
                QStringLiteral("%1: Modbus exception %2 (%3)")
                    .arg(place(), frame::code_text(reply.exception), exception_name(reply.exception))
                    .toStdString());
        }
        if (!reply.unfit.isEmpty())
            throw unfit(reply.unfit);
        return std::move(reply.values);
    }

    // Hands a new exchange to the I/O thread.
    std::shared_ptr<exchange_t> begin_exchange(table_e table, uint16_t start, int count, bool reading,
                                               QVector<uint16_t> values = {},
                                               std::shared_ptr<exchange_t> after = nullptr)
    {
        if (!open)
            throw media_exception(media_exception::not_open,
                                  (text + QStringLiteral(": not connected")).toStdString());
        auto ex = std::make_shared<exchange_t>();
        ex->table = table;
        ex->start = start;
        ex->count = count;
        ex->reading = reading;
        ex->values = std::move(values);
        ex->timeout_ms = reading ? config.timeout_s : config.timeout_m;
        ex->repeats = reading ? config.repeats_s : config.repeats_m;
        ex->follow_up = bool(after);
        ex->closes_before = closes;
        {
            std::lock_guard<std::mutex> guard(io->lock);
            ex->aborts_before = aborts;
        }
        if (after)
            io->post([this, after, ex] { send_after(after, ex); });
        else
            io->post([this, ex] { send(ex); });
        return ex;
    }

    // Waits for @p ex as read(), write() and finish_read() do; a request given up is dropped.
    QVector<uint16_t> finish(const std::shared_ptr<exchange_t>& ex)
    {
        // On a serial line the request may first wait out the quiet time after one that got no answer.
        const int tries = std::max(ex->repeats, 0) + (address.tcp ? 1 : 2);
        const int longest = std::max(ex->timeout_ms, 10) * tries + reply_margin_ms;
        // A follow-up left to this call goes out now.
        if (ex->follow_up)
            io->post([this, ex] {
                if (ex->stage == exchange_t::stage_e::on_finish)
                    send(ex);
            });
        try {
            return await(*ex, longest, [&] {
                return media_exception(ex->reading ? media_exception::read_failed
                                                   : media_exception::write_failed,
                                       QStringLiteral("%1: no answer within %2 ms")
                                           .arg(where(ex->table, ex->start, ex->count))
                                           .arg(longest)
                                           .toStdString());
            });
        } catch (...) {
            drop(ex);
            throw;
        }
    }

    // Drops the reply of @p ex, should one still come. Qt forgets the transaction of a reply
    // that is destroyed.
    static void drop(const std::weak_ptr<io_thread>& io, const std::shared_ptr<exchange_t>& ex)
    {
        if (const std::shared_ptr<io_thread> thread = io.lock())
            thread->post([ex] {
                ex->stage = exchange_t::stage_e::dropped;
                if (ex->awaited && ex->link)
                    ex->link->cancel(ex->handle);
                ex->awaited = false;
                // The one held behind it waits for its own finish_read() now.
                if (const std::shared_ptr<exchange_t> next = std::exchange(ex->then, nullptr);
                    next && next->stage == exchange_t::stage_e::held)
                    next->stage = exchange_t::stage_e::on_finish;
            });
    }

    void drop(const std::shared_ptr<exchange_t>& ex) const { drop(io, ex); }
};

modbus_module::modbus_module(const QString& address)
    : d(std::make_unique<private_t>())
{
    d->text = address;
    d->address = parse_address(address);
}

modbus_module::~modbus_module()
{
    // Closed whatever the mode: nothing comes after.
    ++d->closes;
    d->close_now();
}

QString modbus_module::address() const
{
    return d->text;
}

void modbus_module::connect()
{
    // A connect begins an operation: a stop that came after the last call ended is spent.
    {
        std::lock_guard<std::mutex> guard(d->io->lock);
        d->aborted = false;
    }
    {
        std::lock_guard<std::mutex> guard(d->state_lock);
        d->in_operation = true;
    }
    if (d->open) {
        // A connection kept from the operation before is taken again, unless it was lost.
        bool connected = false;
        d->io->call([&] {
            if (d->idle)
                d->idle->stop();
            if (d->link)
                d->link->check_open();
            connected = d->link && d->link->is_open();
        });
        if (connected)
            return;
        d->close_now();
    }
    const auto attempt = std::make_shared<exchange_t>();
    d->io->post([this, attempt] { d->open_client(attempt); });
    try {
        d->await(*attempt, d->config.timeout_l, [&] {
            return d->no_connection(QStringLiteral("no answer within %1 ms").arg(d->config.timeout_l));
        });
    } catch (...) {
        d->io->call([&] { d->close_client(); });
        throw;
    }
    d->open = true;
}

void modbus_module::disconnect()
{
    // Not waited for: the I/O thread closes it before anything asked of it later. From the
    // destructor too, the private part outlives the task: its thread, its last member, ends first.
    ++d->closes;
    std::lock_guard<std::mutex> guard(d->state_lock);
    d->in_operation = false;
    if (d->persistent && d->open) {
        private_t* const p = d.get();
        const int ms = int(d->config.persistent_time);
        d->io->post([p, ms] { p->keep_client(ms); });
        return;
    }
    d->close_now();
}

void modbus_module::abort()
{
    std::lock_guard<std::mutex> guard(d->io->lock);
    d->aborted = true;
    ++d->aborts;
    d->io->changed.notify_all();
}

qz::api::proto::qz_media& modbus_module::media()
{
    return d->media;
}

void modbus_module::set_config(const qz::api::proto::command_config& config)
{
    d->config = config;
}

void modbus_module::set_persistent(bool persistent)
{
    std::lock_guard<std::mutex> guard(d->state_lock);
    d->persistent = persistent;
    // An idle connection closes now; one in use, when its operation ends. The caller's record of
    // it (open) is not this thread's: the next connect() finds the link gone and opens another.
    if (!persistent && !d->in_operation) {
        private_t* const p = d.get();
        d->io->post([p] { p->close_client(); });
    }
}

modbus_module::pending_read::pending_read(table_e table, uint16_t start, int count)
    : _table(table)
    , _start(start)
    , _count(count)
{}

modbus_module::pending_read::pending_read(pending_read&& other) noexcept = default;

modbus_module::pending_read& modbus_module::pending_read::operator=(pending_read&& other) noexcept
{
    if (this != &other) {
        _abandon();
        _exchange = std::move(other._exchange);
        _io = std::move(other._io);
        _table = other._table;
        _start = other._start;
        _count = other._count;
    }
    return *this;
}

modbus_module::pending_read::~pending_read()
{
    _abandon();
}

void modbus_module::pending_read::_abandon()
{
    if (_exchange)
        private_t::drop(_io, std::exchange(_exchange, nullptr));
}

QVector<uint16_t> modbus_module::read(table_e table, uint16_t start, int count)
{
    pending_read request = send_read(table, start, count);
    return finish_read(request);
}

modbus_module::pending_read modbus_module::send_read(table_e table, uint16_t start, int count)
{
    pending_read request(table, start, count);
    request._exchange = d->begin_exchange(table, start, count, true);
    request._io = d->io;
    return request;
}

modbus_module::pending_read modbus_module::send_read_after(const pending_read& previous, table_e table,
                                                           uint16_t start, int count)
{
    pending_read request(table, start, count);
    request._exchange = d->begin_exchange(table, start, count, true, {}, previous._exchange);
    request._io = d->io;
    return request;
}

QVector<uint16_t> modbus_module::finish_read(pending_read& request)
{
    // Once finished, a request reads as one whose reply is gone.
    const std::shared_ptr<exchange_t> ex = std::exchange(request._exchange, nullptr);
    if (!ex)
        throw d->nothing_on_its_way(request._table, request._start, request._count);
    // Closed since it was sent: its reply, even one already in, belongs to that connection. The
    // caller's own count decides, not whether the module's thread has closed it yet.
    if (ex->closes_before != d->closes) {
        d->drop(ex);
        throw d->nothing_on_its_way(request._table, request._start, request._count);
    }
    return d->finish(ex);
}

void modbus_module::write(table_e table, uint16_t start, const QVector<uint16_t>& values)
{
    d->finish(d->begin_exchange(table, start, int(values.size()), false, values));
}

} // namespace qz::modbus
