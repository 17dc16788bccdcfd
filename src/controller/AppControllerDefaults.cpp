#include "controller/AppController.h"

namespace ferrydeck {

void AppController::loadDefaults()
{
    if (!m_options.preferences) return;
    m_options.preferences->load();
    setListOffloadDestinations(
        DefaultsPersistence::loadDefaults(*m_options.preferences, m_settings, listOffloadDestinations()));
    configureStepper(m_settings.valueConsecutiveNumbering());
    updateView([](ControllerView &view) { view.reloadDestinationTable(); });
}

bool AppController::saveDefaults()
{
    if (!m_options.preferences) return true;
    return DefaultsPersistence::saveDefaults(*m_options.preferences, m_settings, listOffloadDestinations(),
                                             m_view->windowTexts());
}

} // namespace ferrydeck
