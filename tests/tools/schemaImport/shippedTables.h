// The tables of the schema in tests of imports.
#pragma once

inline constexpr const char *kShipped = R"(namespace qorm
data DataObject : GObject  @all
data DynamicData : DataObject  @all
fault MethodFault : GObject = MethodFault  @all
managed ManagedObject : GInitiallyUnowned  @all
namespace ozy
data Event : DynamicData  @ozy2/2.0
  key               int
managed Task : ManagedObject
managed Site : ManagedObject
managed PumpHouse : ManagedObject
  StartPump_Task(mode *, sites ~Site[]) Task
  Drain(litres *)
  Grind(grain *)
data Boiler : DynamicData ...
  inlet             Site             @ozy2/2.0
data Burner : DynamicData ...
data Sealed : DynamicData  @ozy25/4.0
  name              string
enum PumpMode in Boiler
  turbo idle
)";
