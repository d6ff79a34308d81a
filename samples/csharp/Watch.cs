// Prints every change of the controllers until a line is entered, then lists the known controllers.
// Add a COM reference to "KelLanSeek 1.0 Type Library" (or run: tlbimp KelLanSeek.tlb /out:KELLANSEEKLib.dll).

using System;
using System.Runtime.InteropServices;
using KELLANSEEKLib;

[StructLayout(LayoutKind.Sequential)]
public struct KelObjectEvent
{
    public uint userDef, reserved1;
    [MarshalAs(UnmanagedType.Struct)] public object data;  // "lanSeekID;availability;reason;"
    public System.Runtime.InteropServices.ComTypes.FILETIME time;
    public uint reserved2, reserved3;
}

[ComImport, Guid("4DE7E747-CDAA-11D2-84F2-00C04F8EC595"), InterfaceType(ComInterfaceType.InterfaceIsIUnknown)]
public interface IKelObjectEvents
{
    void Notify(ref KelObjectEvent e);
}

public class Sink : IKelObjectEvents
{
    public void Notify(ref KelObjectEvent e) { Console.WriteLine("event " + e.data); }
}

public static class Program
{
    [MTAThread]
    public static void Main()
    {
        var seek = new KelLanSeek();
        var wanted = new KelEventParams { pSink = new Sink(), containData = KelContainData.Data };
        ((IKelLanSeekSubscribe)seek).Subscribe(ref wanted, out uint cookie);
        Console.WriteLine("Listening; a line ends it.");
        Console.ReadLine();
        var all = new KelRetrievalParams { noOfElts = -2 };
        ((IKelLanSeek)seek).GetCtrlList(ref all, out IKelEnumCtrlIdentity list);
        for (int i = 0; i < all.noOfElts; i++)
        {
            list.RemNext(1, out AvailableCtrlsListItem item, out uint fetched);
            ((IKelCtrlIdentity)seek).GetCtrlName(item.lanSeekID, out string name);
            Console.WriteLine(item.lanSeekID + " " + name);
        }
        ((IKelLanSeekSubscribe)seek).Unsubscribe(cookie);
    }
}
