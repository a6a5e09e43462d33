#include "settings/snapshots.h"

#include "base/text.h"
#include "base/xml.h"

namespace VBoxSim {

namespace {

using Xml::Element;
using Names = std::map<std::wstring, std::wstring>;

void replaceUuid(Element* element, const Names& names)
{
    const auto found = names.find(parseUuid(Xml::get(element, "uuid")).value_or(L""));
    if (found != names.end())
        Xml::set(element, "uuid", braced(found->second));
}

void renameBelow(Element* parent, const Names& media, Names& snapshots)
{
    for (Element* snapshot : Xml::children(parent, "Snapshot")) {
        const std::wstring old = parseUuid(Xml::get(snapshot, "uuid")).value_or(L"");
        snapshots[old] = newUuid();
        replaceUuid(snapshot, snapshots);
        for (Element* holder : {snapshot, Xml::child(snapshot, "Hardware")})
            for (Element* controller : Xml::children(Xml::child(holder, "StorageControllers"), "StorageController"))
                for (Element* device : Xml::children(controller, "AttachedDevice"))
                    for (Element* image : Xml::children(device, "Image"))
                        replaceUuid(image, media);
        renameBelow(Xml::child(snapshot, "Snapshots"), media, snapshots);
    }
}

} // namespace

void dropSnapshots(MachineSettings& settings)
{
    settings.currentSnapshot.clear();
    settings.snapshotCount = 0;
    settings.snapshotMedia.clear();
    if (settings.source.empty())
        return;
    Xml::DocumentPtr document = Xml::parse(settings.source);
    Element* machine = Xml::child(Xml::root(document), "Machine");
    for (Element* snapshot : Xml::children(machine, "Snapshot"))
        Xml::remove(snapshot);
    settings.source = Xml::write(*document);
}

void renameSnapshots(MachineSettings& settings, const Names& newMedia)
{
    for (std::wstring& medium : settings.snapshotMedia) {
        const auto found = newMedia.find(medium);
        if (found != newMedia.end())
            medium = found->second;
    }
    if (settings.source.empty())
        return;
    Xml::DocumentPtr document = Xml::parse(settings.source);
    Names snapshots;
    renameBelow(Xml::child(Xml::root(document), "Machine"), newMedia, snapshots);
    const auto current = snapshots.find(settings.currentSnapshot);
    if (current != snapshots.end())
        settings.currentSnapshot = current->second;
    settings.source = Xml::write(*document);
}

} // namespace VBoxSim
