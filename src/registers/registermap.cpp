#include "registermap.h"

namespace {

Register reg(unsigned address, const char *name, bool editable, bool hidden, QList<Field> fields)
{
    Register r;
    r.address = address;
    r.name = QString::fromLatin1(name);
    r.editable = editable;
    r.hidden = hidden;
    r.fields = std::move(fields);
    return r;
}

} // namespace

// Each field: name, default value, length, min, max, description.

const QList<Register> registers_rev_b = {
    reg(0, "REFERENCE", true, false,
        {{"FIFO", 0, 12, 0, 4095,
          QStringLiteral("Input of the FIFO.Desired amplitude of the output in 12-bit two’s "
                         "complement format. Driver will work with lower resolution waveform: "
                         "shift data left to align MSBs.")}}),
    reg(1, "ION_BL", true, false,
        {{"FSWMAX", 0, 2, 0, 3, QStringLiteral("Set boost converter maximum switching frequency")},
         {"SB", 0, 2, 0, 3, QStringLiteral("Boost converter Blanking time")},
         {"IONSCALE", 160, 8, 0, 255, QStringLiteral("Minimum current required to turn ON HS.")}}),
    reg(2, "DEADTIME", true, false,
        {{"DHS", 35, 7, 0, 127,
          QStringLiteral("Power switch deadtime:Minimum time between low-side (LS) switch turn off "
                         "and high-side (HS) switch turn on.")},
         {"DLS", 6, 5, 0, 31,
          QStringLiteral("Power switch deadtime:Minimum time between HS switch turn off and LS "
                         "switch turn on.")}}),
    reg(3, "KP", true, false,
        {{"SQ", 0, 1, 0, 1,
          QStringLiteral(
              "Square wave playback: In this mode, the user can send safely discontinuous "
              "waveforms with arbitrary sample rate. As soon as a sample is received, the output "
              "of the driver will start to move toward the new value.")},
         {"KP", 128, 11, 0, 2047, QStringLiteral("Internal parameter.")}}),
    reg(4, "KPA_KI", true, false,
        {{"KIBASE", 2, 4, 0, 15,
          QStringLiteral("Internal parameter.Pole location of the integrated PI controller")},
         {"KPA", 160, 8, 0, 255,
          QStringLiteral(
              "Internal parameter. Proportional gain used in the integrated PI controller")}}),
    reg(5, "CONFIG", true, false,
        {{"BC", 0, 5, 0, 31, QStringLiteral("Data to output on SPI port (SDO pin).")},
         {"LOCK", 0, 1, 0, 1, QStringLiteral("Register lock")},
         {"RST", 0, 1, 0, 1, QStringLiteral("Software reset.")},
         {"OE", 0, 1, 0, 1, QStringLiteral("Enable waveform playback.")},
         {"DS", 0, 1, 0, 1, QStringLiteral("Power mode when not playing waveforms (OE = low).")},
         {"PLAY", 0, 3, 0, 7, QStringLiteral("Waveform play back speed.")}}),
    reg(6, "PARCAP", true, false,
        {{"UPI", 0, 1, 0, 1, QStringLiteral("Unidirectional Power Input.")},
         {"LMI", 1, 1, 0, 1, QStringLiteral("High Side (HS) switch current limit.")},
         {"CP5", 1, 1, 0, 1, QStringLiteral("Internal 5V charge pump")},
         {"CAL", 1, 1, 0, 1,
          QStringLiteral("Internal calibration at start-up (deep sleep mode only).")},
         {"PARCAP", 58, 8, 0, 255, QStringLiteral("Internal parameter.")}}),
    reg(7, "SUP_RISE", true, false,
        {{"Rsvd", 0, 1, 0, 0, QStringLiteral("Reserved")},
         {"VDD", 5, 5, 0, 31,
          QStringLiteral("Digital representation of the supply voltage (VDD).")},
         {"TI_RISE", 39, 6, 0, 63, QStringLiteral("Proportional gain for the offset.")}}),
    reg(8, "DAC", false, false,
        {{"DAC_HS", 2, 6, 0, 63, QStringLiteral("Internal calibration value.")},
         {"DAC_LS", 2, 6, 0, 63, QStringLiteral("Internal calibration value.")}}),
    reg(9, "RSVD1", true, true, {{"RSVD", 0, 12, 0, 4095, QStringLiteral("Reserved.")}}),
    reg(10, "RSVD2", true, true, {{"RSVD", 0, 12, 0, 4095, QStringLiteral("Reserved.")}}),
    reg(11, "RSVD3", true, true, {{"RSVD", 0, 12, 0, 4095, QStringLiteral("Reserved.")}}),
    reg(12, "IC_STATUS", false, false,
        {{"STATE", 0, 2, 0, 3, QStringLiteral("STATE of the controller")},
         {"OVV", 0, 1, 0, 1, QStringLiteral("Over voltage bit.")},
         {"OVT", 0, 1, 0, 1, QStringLiteral("Overtemperature status bit.")},
         {"FULL", 0, 1, 0, 1, QStringLiteral("FIFO is full.")},
         {"EMPTY", 1, 1, 0, 1, QStringLiteral("FIFO is empty.")},
         {"FIFO_SPACE", 0, 6, 0, 31, QStringLiteral("Space available in FIFO for new data.")}}),
    reg(14, "TRIM", true, false,
        {{"TRIM_RW", 0, 2, 0, 3, QStringLiteral("On demand trim control;")},
         {"SDOBP", 0, 1, 0, 1, QStringLiteral("Assign internal clock signal to SDO pin.")},
         {"TRIM_OSC", 0, 6, 0, 63,
          QStringLiteral("Oscillator trimming bits in two’s complement. Maximum frequency at 0x1F, "
                         "Minimum frequency at 0x20")},
         {"TRIM_REG", 0, 3, 0, 7,
          QStringLiteral("1.8V Regulator trimming bits in two’s complement. Maximum voltage at "
                         "0x3, Minimum voltage at 0x4")}}),
    reg(15, "RSVD4", true, true, {{"RSVD", 0, 12, 0, 4095, QStringLiteral("Reserved.")}}),
};

const QList<Register> registers_rev_c = {
    reg(0, "REFERENCE", true, false,
        {{"FIFO", 0, 12, 0, 4095,
          QStringLiteral("Input of the FIFO.Desired amplitude of the output in 12-bit two’s "
                         "complement format. Driver will work with lower resolution waveform: "
                         "shift data left to align MSBs.")}}),
    reg(1, "ION_BL", true, false,
        {{"FSWMAX", 0, 2, 0, 3, QStringLiteral("Set boost converter maximum switching frequency")},
         {"SB", 3, 2, 0, 3, QStringLiteral("Boost converter Blanking time")},
         {"IONSCALE", 160, 8, 0, 255, QStringLiteral("Minimum current required to turn ON HS.")}}),
    reg(2, "DEADTIME", true, false,
        {{"DHS", 35, 7, 0, 127,
          QStringLiteral("Power switch deadtime:Minimum time between low-side (LS) switch turn off "
                         "and high-side (HS) switch turn on.")},
         {"DLS", 10, 5, 0, 31,
          QStringLiteral("Power switch deadtime:Minimum time between HS switch turn off and LS "
                         "switch turn on.")}}),
    reg(3, "KP", true, false,
        {{"SQ", 0, 1, 0, 1,
          QStringLiteral(
              "Square wave playback: In this mode, the user can send safely discontinuous "
              "waveforms with arbitrary sample rate. As soon as a sample is received, the output "
              "of the driver will start to move toward the new value.")},
         {"KP", 128, 11, 0, 2047, QStringLiteral("Internal parameter.")}}),
    reg(4, "KPA_KI", true, false,
        {{"KIBASE", 2, 4, 0, 15,
          QStringLiteral("Internal parameter.Pole location of the integrated PI controller")},
         {"KPA", 160, 8, 0, 255,
          QStringLiteral(
              "Internal parameter. Proportional gain used in the integrated PI controller")}}),
    reg(5, "CONFIG", true, false,
        {{"BC", 2, 5, 0, 31, QStringLiteral("Data to output on SPI port (SDO pin).")},
         {"LOCK", 0, 1, 0, 1, QStringLiteral("Register lock")},
         {"RST", 0, 1, 0, 1, QStringLiteral("Software reset.")},
         {"OE", 0, 1, 0, 1, QStringLiteral("Enable waveform playback.")},
         {"DS", 0, 1, 0, 1, QStringLiteral("Power mode when not playing waveforms (OE = low).")},
         {"PLAY", 0, 3, 0, 7, QStringLiteral("Waveform play back speed.")}}),
    reg(6, "PARCAP", true, false,
        {{"UPI", 0, 1, 0, 1, QStringLiteral("Unidirectional Power Input.")},
         {"LMI", 1, 1, 0, 1, QStringLiteral("High Side (HS) switch current limit.")},
         {"CP5", 1, 1, 0, 1, QStringLiteral("Internal 5V charge pump")},
         {"CAL", 1, 1, 0, 1,
          QStringLiteral("Internal calibration at start-up (deep sleep mode only).")},
         {"PARCAP", 58, 8, 0, 255, QStringLiteral("Internal parameter.")}}),
    reg(7, "SUP_RISE", true, false,
        {{"SENSE", 0, 1, 0, 1,
          QStringLiteral("Mute the output to only read the actuator voltage without driving it.")},
         {"VDD", 5, 5, 0, 31,
          QStringLiteral("Digital representation of the supply voltage (VDD).")},
         {"TI_RISE", 39, 6, 0, 63, QStringLiteral("Proportional gain for the offset.")}}),
    reg(8, "DAC", false, false,
        {{"DAC_HS", 2, 6, 0, 63, QStringLiteral("Internal calibration value.")},
         {"DAC_LS", 2, 6, 0, 63, QStringLiteral("Internal calibration value.")}}),
    reg(9, "RSVD1", true, true, {{"RSVD", 0, 12, 0, 4095, QStringLiteral("Reserved.")}}),
    reg(10, "RSVD2", true, true, {{"RSVD", 0, 12, 0, 4095, QStringLiteral("Reserved.")}}),
    reg(11, "RSVD3", true, true, {{"RSVD", 0, 12, 0, 4095, QStringLiteral("Reserved.")}}),
    reg(12, "IC_STATUS", false, false,
        {{"STATE", 0, 2, 0, 3, QStringLiteral("STATE of the controller")},
         {"OVV", 0, 1, 0, 1, QStringLiteral("Over voltage bit.")},
         {"OVT", 0, 1, 0, 1, QStringLiteral("Overtemperature status bit.")},
         {"FULL", 0, 1, 0, 1, QStringLiteral("FIFO is full.")},
         {"EMPTY", 1, 1, 0, 1, QStringLiteral("FIFO is empty.")},
         {"FIFO_SPACE", 0, 6, 0, 63, QStringLiteral("Space available in FIFO for new data.")}}),
    reg(13, "SENSE", false, false,
        {{"STATE", 0, 2, 0, 3, QStringLiteral("STATE of the controller")},
         {"VFEEDBACK", 0, 10, 0, 1023, QStringLiteral("Voltage feedback on 10 bits")}}),
    reg(14, "TRIM", true, false,
        {{"TRIM_RW", 0, 2, 0, 3, QStringLiteral("On demand trim control;")},
         {"SDOBP", 0, 1, 0, 1, QStringLiteral("Assign internal clock signal to SDO pin.")},
         {"TRIM_OSC", 0, 6, 0, 63,
          QStringLiteral("Oscillator trimming bits in two’s complement. Maximum frequency at 0x1F, "
                         "Minimum frequency at 0x20")},
         {"TRIM_REG", 0, 3, 0, 7,
          QStringLiteral("1.8V Regulator trimming bits in two’s complement. Maximum voltage at "
                         "0x3, Minimum voltage at 0x4")}}),
    reg(15, "RSVD4", true, true, {{"RSVD", 0, 12, 0, 4095, QStringLiteral("Reserved.")}}),
};
