"""Prints every change of the controllers until a line is entered, then lists the known ones.  Needs: pip install comtypes"""

import sys

sys.coinit_flags = 0  # the multithreaded apartment: events arrive on a thread of the component

from ctypes import HRESULT, POINTER, Structure, byref, c_ulong  # noqa: E402
from ctypes.wintypes import FILETIME  # noqa: E402

from comtypes import COMMETHOD, GUID, COMObject, IUnknown  # noqa: E402
from comtypes.automation import VARIANT  # noqa: E402
from comtypes.client import CreateObject, GetModule  # noqa: E402

lib = GetModule((GUID("{959E8B02-6B52-4115-A248-49DB1654166E}"), 1, 0))


class KelObjectEvent(Structure):
    _fields_ = [("userDef", c_ulong), ("reserved1", c_ulong), ("data", VARIANT), ("time", FILETIME),
                ("reserved2", c_ulong), ("reserved3", c_ulong)]


class IKelObjectEvents(IUnknown):
    _iid_ = GUID("{4DE7E747-CDAA-11D2-84F2-00C04F8EC595}")
    _methods_ = [COMMETHOD([], HRESULT, "Notify", (["in"], POINTER(KelObjectEvent), "event"))]


class Sink(COMObject):
    _com_interfaces_ = [IKelObjectEvents]

    def Notify(self, event):
        print("event", event.contents.data.value)  # "lanSeekID;availability;reason;"
        return 0


seek = CreateObject("KelLanSeek.KelLanSeek", interface=lib.IKelLanSeek)
subscribe = seek.QueryInterface(lib.IKelLanSeekSubscribe)
identity = seek.QueryInterface(lib.IKelCtrlIdentity)
sink = Sink()
wanted = lib.KelEventParams(pSink=sink.QueryInterface(IUnknown))
cookie = subscribe.Subscribe(byref(wanted))
input("Listening; a line ends it.\n")
parameters, controllers = seek.GetCtrlList(lib.KelRetrievalParams(noOfElts=-2))
for _ in range(parameters.noOfElts):
    item, _ = controllers.RemNext(1)
    print(item.lanSeekID, identity.GetCtrlName(item.lanSeekID))
subscribe.Unsubscribe(cookie)
