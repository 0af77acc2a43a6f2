// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_MODBUS_MODBUS_MODULE_H
#define QZGUI_MODBUS_MODBUS_MODULE_H

#include "qzgui/modbus/modbus_export.h"

#include "qzgui/modbus/register_map.h"

#include <module_api/qz_module.h>

#include <QString>
#include <QVector>

#include <cstdint>
#include <memory>

namespace qz::modbus {

class io_thread;

/**
 * @class modbus_module modbus_module.h <qzgui/modbus/modbus_module.h>
 *
 * A device module that speaks Modbus, over TCP or RTU on a serial line. It frames and checks
 * every request and reply itself, on Qt Network and Qt SerialPort, in a thread of the module's
 * own; a call hands it the request and waits on a condition variable, without busy-waiting and
 * without running the calling thread's event loop. So a request queued to a worker while it waits
 * for a reply runs after the operation in progress, never inside it. Calls come from one thread
 * at a time (a worker's); abort() may come from any thread and ends the call in progress within
 * 100 ms with media_exception::stopped.
 *
 * The command configuration sets the time-out and retry count per request: reads take the "s"
 * class (timeout_s, repeats_s), writes the "m" class (timeout_m, repeats_m) and connecting waits
 * up to timeout_l. No wait for a reply lasts longer than the time-out times (repeats + 1), plus
 * one more time-out on a serial line (see below), plus a second.
 *
 * Only a reply that answers its request is taken. Over TCP it carries the request's transaction
 * id and unit; over RTU it comes from the request's unit with a right checksum, and after a try
 * that got no answer the line must stay quiet for another time-out before the next request, so
 * that a late reply is dropped rather than taken as the next one's. Either way the reply must
 * have the request's function code and exactly the byte count the request needs, and a write's
 * echo must match what was written.
 *
 * Failures throw the module interface's exceptions. Their message is "PLACE: DETAIL", the place
 * ("tcp://127.0.0.1:1502 unit 1, holding 10 to 19") holding no ": ", the detail what happened
 * ("Modbus exception 0x02 (illegal data address)"): no connection, a refused connection, no such serial port
 * or a connection lost → media_exception::no_device (for the rest of the operation, once lost); no answer in
 * time → media_exception::read_failed (read) or write_failed (write); only replies with a wrong checksum →
 * proto_exception::crc_error; a Modbus exception response → proto_exception::response_error (illegal
 * function), parameter_error (illegal data address or value), busy (server busy) or general_error (others); a
 * reply that does not fit the request → invalid_result.
 * @see modbus_worker, register_map
 */
class QZGUI_MODBUS_EXPORT modbus_module : public qz::api::proto::qz_module {
public:
    /**
     * @param address "tcp://HOST:PORT" or
     *        "rtu:DEVICE?baud=19200&parity=none|even|odd&data=8&stop=1" (every setting optional,
     *        those shown the defaults), each optionally with "unit=N", the server address (1 by
     *        default; 0 to 255 over TCP, 1 to 247 over RTU). HOST is a name or an IP address,
     *        an IPv6 one in brackets: "tcp://[::1]:1502". Modbus RTU takes 8 data bits only.
     * @throws std::invalid_argument naming the address and its fault
     */
    explicit modbus_module(const QString& address);
    /// Closes the connection, if one is open.
    ~modbus_module() override;

    /// Opens the connection; waits up to timeout_l. A stop that came before is spent here.
    /// @throws media_exception no_device
    void connect() override;
    /// Ends the operation: closes the connection, in the module's thread before anything asked of
    /// it later (nothing happens when none is open). In persistent mode the connection stays open
    /// for the next operation, and closes once persistent_time milliseconds pass without one.
    void disconnect() override;
    /// Ends the call in progress with media_exception::stopped; callable from any thread. Without
    /// one, the next call of the same operation ends so.
    void abort() override;
    /// @return the transport's settings record (its mode is not used by Modbus)
    qz::api::proto::qz_media& media() override;
    /// Takes the time-outs and repeat counts for the following requests.
    void set_config(const qz::api::proto::command_config& config) override;
    /**
     * Keeps the connection open between operations (true), for a poller's sweeps, so that they do
     * not open a TCP connection or serial port each time; a connection found lost is opened again
     * by the next connect(). false closes an idle connection at once, and one in use when its
     * operation ends. Callable from any thread, also during another call.
     */
    void set_persistent(bool persistent) override;

private:
    struct exchange_t; // one request and its outcome, shared with the client's thread

public:
    /**
     * A read on its way to the device, from send_read() until finish_read() takes its values.
     * Destroying it unfinished abandons the request: its reply, should one still come, is dropped.
     * @see send_read(), finish_read()
     */
    class QZGUI_MODBUS_EXPORT pending_read {
    public:
        /// Takes over @p other's request; @p other is left with none.
        pending_read(pending_read&& other) noexcept;
        /// Abandons this read's request, if any, and takes over @p other's.
        pending_read& operator=(pending_read&& other) noexcept;
        /// Abandons the request when it was not finished.
        ~pending_read();

    private:
        friend class modbus_module;
        pending_read(table_e table, uint16_t start, int count);
        void _abandon();

        std::shared_ptr<exchange_t> _exchange; // null once finished or moved from
        std::weak_ptr<io_thread> _io;          // where its reply is dropped, should it be abandoned
        table_e _table;
        uint16_t _start;
        int _count;
    };

    /**
     * Reads @p count bits or registers of @p table from @p start.
     * @return the values, one word per bit (0 or 1) or register
     * @throws media_exception, proto_exception as described for the class
     * @see send_read()
     */
    QVector<uint16_t> read(table_e table, uint16_t start, int count);

    /**
     * Sends the read that read() makes and returns at once, so that the device can work on it
     * while the caller does something else. Over TCP the request goes out now, beside any other
     * on its way, and its time-out counts from now; over RTU it waits its turn on the line, and its
     * time-out counts from when it goes out.
     * @return the request, for finish_read()
     * @throws media_exception not_open when no connection is open
     */
    pending_read send_read(table_e table, uint16_t start, int count);

    /**
     * Sends the read that read() makes as soon as the reply to @p previous is in, without waiting
     * for the calling thread: the device gets it while the caller still works on the reply. Only
     * one of the two is on its way at a time. Where @p previous is answered with a Modbus
     * exception, or is abandoned, or abort() came meanwhile, the request goes out only when
     * finish_read() asks for it, so that the caller can send others first. A @p previous already
     * finished makes this send_read().
     * @return the request, for finish_read()
     * @throws media_exception not_open when no connection is open
     */
    pending_read send_read_after(const pending_read& previous, table_e table, uint16_t start, int count);

    /**
     * Waits for the reply to @p request, which this module sent, as read() does.
     * @return the values, one word per bit (0 or 1) or register
     * @throws media_exception, proto_exception as described for the class; not_open when the
     *         connection was closed meanwhile, or @p request was finished already
     */
    QVector<uint16_t> finish_read(pending_read& request);

    /**
     * Writes @p values (one word per bit or register) into @p table from @p start.
     * @throws media_exception, proto_exception as described for the class
     */
    void write(table_e table, uint16_t start, const QVector<uint16_t>& values);

    /// @return the address the module was created with
    QString address() const;

private:
    struct private_t;
    std::unique_ptr<private_t> d;
};

} // namespace qz::modbus

#endif
