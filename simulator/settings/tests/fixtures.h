#pragma once

#include <string>

/// A settings file with everything that a machine can have, and some elements that nobody here knows.
inline std::string richSettings()
{
    return R"(<?xml version="1.0"?>
<!-- kept -->
<VirtualBox xmlns="http://www.virtualbox.org/" version="1.16-windows">
  <Machine uuid="{11111111-1111-4111-8111-111111111102}" name="安卓 🎮" OSType="Linux26_64" currentSnapshot="{33333333-3333-4333-8333-333333333301}" snapshotFolder="Snapshots" lastStateChange="2024-02-29T23:59:59Z" futureAttribute="7">
    <Description>two
lines</Description>
    <MediaRegistry>
      <HardDisks>
        <HardDisk uuid="{22222222-2222-4222-8222-222222222203}" location="base.vdi" format="VDI" type="Normal">
          <HardDisk uuid="{22222222-2222-4222-8222-222222222204}" location="Snapshots/diff.vdi" format="VDI"/>
        </HardDisk>
      </HardDisks>
    </MediaRegistry>
    <ExtraData>
      <ExtraDataItem name="k" value="v &amp; &quot;w&quot;"/>
    </ExtraData>
    <Snapshot uuid="{33333333-3333-4333-8333-333333333301}" name="fresh" timeStamp="2024-03-02T07:59:00Z">
      <Hardware>
        <Memory RAMSize="1024"/>
      </Hardware>
      <StorageControllers>
        <StorageController name="SATA" type="AHCI" PortCount="1">
          <AttachedDevice type="HardDisk" port="0" device="0">
            <Image uuid="{22222222-2222-4222-8222-222222222203}"/>
          </AttachedDevice>
        </StorageController>
      </StorageControllers>
    </Snapshot>
    <Hardware>
      <CPU count="2">
        <PAE enabled="true"/>
      </CPU>
      <Memory RAMSize="2048"/>
      <Paravirt provider="KVM"/>
      <Unheard of="this"><Deep/></Unheard>
      <Network>
        <Adapter slot="0" enabled="true" MACAddress="0800275D10A1" type="virtio">
          <NAT>
            <DNS use-proxy="true"/>
            <Forwarding name="ssh" proto="1" hostip="127.0.0.1" hostport="2222" guestport="22"/>
          </NAT>
        </Adapter>
      </Network>
      <AudioAdapter controller="HDA" driver="DirectSound" enabled="true" enabledIn="false"/>
      <SharedFolders>
        <SharedFolder name="pictures" hostPath="C:\" writable="true" autoMount="true"/>
      </SharedFolders>
      <GuestProperties>
        <GuestProperty name="/a" value="1" timestamp="1709251199123456789" flags="RDONLYGUEST"/>
      </GuestProperties>
    </Hardware>
    <StorageControllers>
      <StorageController name="SATA" type="AHCI" PortCount="4" IDE0MasterEmulationPort="0">
        <AttachedDevice nonrotational="true" discard="true" type="HardDisk" hotpluggable="false" port="0" device="0">
          <Image uuid="{22222222-2222-4222-8222-222222222204}"/>
        </AttachedDevice>
      </StorageController>
    </StorageControllers>
  </Machine>
</VirtualBox>
)";
}
