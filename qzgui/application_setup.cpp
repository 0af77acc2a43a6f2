// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/application_setup.h"

#include "qzgui/settings_keys.h"

#include <QDir>
#include <QSettings>
#include <QStandardPaths>

#include <cstring>

namespace qz::gui {

bool asks_for_help(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
        for (const char* help : {"-h", "--help", "-?", "--help-all"})
            if (std::strcmp(argv[i], help) == 0)
                return true;
    return false;
}

QString ensure_log_location()
{
    QSettings settings;
    const QString key = QLatin1String(log_location_key);
    QString logs = settings.value(key).toString();
    if (logs.isEmpty()) {
        logs =
            QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + QStringLiteral("/logs");
        QDir().mkpath(logs);
        settings.setValue(key, logs);
    }
    return logs;
}

} // namespace qz::gui
