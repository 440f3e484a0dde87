#include "core/discovery_manager.h"
#include "discoverers/ember_discoverer.h"
#include "discoverers/mdns_discoverer.h"
#include "discoverers/ssdp_discoverer.h"

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
    if (config.ember) {
        auto *ember = new EmberDiscoverer;
        ember->setSeeds(config.emberSeeds);
        addDiscoverer(ember);
    }
}

} // namespace Sondrix
