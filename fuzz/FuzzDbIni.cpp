// db.ini and connection texts: whatever the text, reading it gives fields without line
// breaks; what was read, written out again (as db.ini or as an ODBC connection string),
// reads back to the same fields.
#include "FuzzCheck.h"
#include "components/DbIni.h"
#include "platform/RuntimeError.h"

#include <QStringList>

using namespace hvx;
using namespace hvx::fuzz;

namespace {

QString describe(const DbIni& ini) {
    return QStringList{ini.type, ini.location, ini.driver, ini.dsn,     ini.server,
                       ini.port, ini.database, ini.userId, ini.password}
        .join(QStringLiteral("|"));
}

// The fields an ODBC connection string carries (all but the type and the JET file).
QString describeServer(const DbIni& ini) {
    return QStringList{ini.driver,   ini.dsn,    ini.server,  ini.port,
                       ini.database, ini.userId, ini.password}
        .join(QStringLiteral("|"));
}

void checkConnectionStringRoundTrip(const DbIni& ini, const QString& detail) {
    const QString text = ini.odbcConnectionString();
    try {
        const DbIni again = DbIni::fromConnectionString(text);
        check(describeServer(again) == describeServer(ini),
              "a connection string does not read back to its fields",
              detail + QStringLiteral("\n") + text + QStringLiteral("\n") + describeServer(again));
    } catch (const RuntimeError& error) {
        fail("a written connection string is refused",
             text + QStringLiteral("\n") + error.description());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const QString text = inputText(data, size);

    const DbIni ini = DbIni::parse(text);
    const QString read = describe(ini);
    check(!read.contains(QLatin1Char('\r')) && !read.contains(QLatin1Char('\n')),
          "a db.ini field holds a line break", read);
    const QString written = ini.toText();
    const DbIni again = DbIni::parse(written);
    check(describe(again) == read, "db.ini written out again does not read back the same",
          read + QStringLiteral("\n") + written + QStringLiteral("\n") + describe(again));
    checkConnectionStringRoundTrip(ini, read);

    try {
        const DbIni fromText = DbIni::fromConnectionString(text);
        check(fromText.isServer(), "a connection text gives a type other than SQLSERVER", text);
        checkConnectionStringRoundTrip(fromText, text);
    } catch (const RuntimeError& error) {
        check(error.number() == err::InvalidArgument,
              "a connection text fails with the wrong error", text);
    }
    return 0;
}
