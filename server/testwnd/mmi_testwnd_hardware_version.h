// Hardware version of the preview list: shows what the handset says it is; the operator judges.
#pragma once

void mmi_testwnd_Monomer_HardwareVersionEntry(); // GUI thread
void mmi_testwnd_Monomer_HardwareVersion_Stop(); // any thread
