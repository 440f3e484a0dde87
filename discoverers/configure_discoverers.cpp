#include "core/discovery_manager.h"
#include "discoverers/airplay_discoverer.h"
#include "discoverers/cast_discoverer.h"
#include "discoverers/ember_discoverer.h"
#include "discoverers/mdns_discoverer.h"
#include "discoverers/ndi_discoverer.h"
#include "discoverers/nmos_discoverer.h"
#include "discoverers/onvif_discoverer.h"
#include "discoverers/roku_discoverer.h"
#include "discoverers/sap_aes67_discoverer.h"
#include "discoverers/ssdp_discoverer.h"
#include "discoverers/upnp_dlna_discoverer.h"

namespace Sondrix
{

void DiscoveryManager::configureDiscoverers(const DiscoveryConfig &config)
{
    // This order is the order of a pass and of the provider rows in the report.
    if (config.mdns) {
        addDiscoverer(new MdnsDiscoverer);
    }
    if (config.ssdp) {
        addDiscoverer(new SsdpDiscoverer);
    }
    if (config.upnpDlna) {
        addDiscoverer(new UpnpDlnaDiscoverer);
    }
    if (config.roku) {
        addDiscoverer(new RokuDiscoverer);
    }
    if (config.cast) {
        addDiscoverer(new CastDiscoverer);
    }
    if (config.airplay) {
        addDiscoverer(new AirPlayDiscoverer);
    }
    if (config.nmos) {
        auto *nmos = new NmosDiscoverer;
        nmos->setRegistries(config.nmosRegistries);
        addDiscoverer(nmos);
    }
    if (config.ember) {
        auto *ember = new EmberDiscoverer;
        ember->setSeeds(config.emberSeeds);
        addDiscoverer(ember);
    }
    if (config.activeProbingEnabled && config.onvif) {
        addDiscoverer(new OnvifDiscoverer);
    }
    if (config.ndi) {
        auto *ndi = new NdiDiscoverer;
        ndi->setAvailable(true);
        ndi->setDiscoveryServers(config.ndiDiscoveryServers);
        addDiscoverer(ndi);
    }
    if (config.sapAes67) {
        addDiscoverer(new SapAes67Discoverer);
    }
}

} // namespace Sondrix
