// SPDX-License-Identifier: BSD-3-Clause
#include "tool_output.h"

#include <QCoreApplication>
#include <QString>

#include <cstdlib>

namespace qz::tools {

void print(std::FILE* stream, const QString& line)
{
    std::fputs(qUtf8Printable(line + QLatin1Char('\n')), stream);
    std::fflush(stream);
}

void bad_argument(const QString& text)
{
    print(stderr, QStringLiteral("%1: %2").arg(QCoreApplication::applicationName(), text));
    std::exit(2);
}

} // namespace qz::tools
