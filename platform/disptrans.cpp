#include "disptrans.h"

namespace disptrans {

ConnectionSettings connectionSettingsFor(int16_t kind, const QString& target, const QString& kind1Param,
                                         const QString& otherKindParam, const QString& kind3Param, int16_t address)
{
    ConnectionSettings s;
    s.ConnTarget = target;
    switch (kind) {
    case SerialPort:
        s.ConnKind = SerialPort;
        s.ConnParam1 = kind1Param;
        break;
    case Network:
        s.ConnKind = Network;
        s.ConnParam3 = kind3Param;
        break;
    default:
        s.ConnKind = Modem;
        s.ConnParam2 = otherKindParam;
        break;
    }
    s.ConnAddress = address;
    return s;
}

} // namespace disptrans
