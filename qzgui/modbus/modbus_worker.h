// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_MODBUS_MODBUS_WORKER_H
#define QZGUI_MODBUS_MODBUS_WORKER_H

#include "qzgui/modbus/modbus_export.h"

#include "qzgui/modbus/register_map.h"

#include <qzgui/sat_worker.h>

namespace qz::modbus {

class modbus_module;

/**
 * @class modbus_worker modbus_worker.h <qzgui/modbus/modbus_worker.h>
 *
 * A device worker that reads and writes the parameters of a register map over a modbus_module.
 * It runs in a thread of its own like every sat_worker, and reports by the same signals.
 *
 * A read sweep groups the requested parameters that lie in consecutive registers (or bits) of one
 * table into as few requests as Modbus allows: 125 registers or 2000 bits each. When a group is
 * answered with a Modbus exception, its parameters are read again one by one, so each id still
 * gets its own value or error; when a group fails otherwise (no answer in time, a lost
 * connection, a reply that does not fit), each of its ids gets that error without a request of
 * its own. Values and errors are reported in the order of the request; stop() ends the sweep
 * after the group in progress. Every value read goes into the value cache, and a value written
 * replaces its cache entry, without a signal.
 *
 * A write sends each parameter by itself. An id the map does not hold, a read-only parameter or a
 * value that does not fit the parameter's type or range is reported as
 * proto_exception::parameter_error for that id, and nothing is sent.
 *
 * @code
 * qz::modbus::modbus_module module(QStringLiteral("tcp://127.0.0.1:1502"));
 * const auto map = qz::modbus::register_map::load(QStringLiteral("device.json"));
 * auto* worker = new qz::modbus::modbus_worker(nullptr, &module, map);
 * worker->moveToThread(&thread);   // the module's client is made in that thread
 * @endcode
 * @see modbus_module, register_map, qz::gui::sat_worker
 */
class QZGUI_MODBUS_EXPORT modbus_worker : public qz::gui::sat_worker {
    Q_OBJECT

public:
    /**
     * @param parent the parent object
     * @param module the device; not owned, and must outlive the worker
     * @param map the parameters the worker knows; copied
     */
    modbus_worker(QObject* parent, modbus_module* module, const register_map& map);

    /// @return the register map the worker reads and writes by
    const register_map& map() const;

protected Q_SLOTS:
    /// The grouped read sweep described for the class, as one op_read operation.
    void _get_params(const QVector<uint32_t>& params) override;

protected:
    /// Reads one parameter by itself and caches it. @throws proto_exception parameter_error for an
    /// id the map does not hold; the module's exceptions otherwise
    void _get_param(uint32_t id) override;
    /// Writes one parameter, caches the value the device now holds and emits on_set_param().
    /// @throws proto_exception parameter_error as described for the class; the module's
    ///         exceptions otherwise
    void _set_param(uint32_t id, const QVariant& value) override;

private:
    struct sweep_t;
    const register_entry_t& _entry(uint32_t id) const;
    QVariant _read_entry(const register_entry_t& entry);

    modbus_module* _modbus;
    register_map _map;
};

} // namespace qz::modbus

#endif
