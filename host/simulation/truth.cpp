#include "simulation/truth.h"

#include "base/json.h"

namespace cali::host {

std::string truth_text(const SimulationPlan& plan) {
    const SensorModel sensor = plan.sensor.at(plan.gains.front());
    Json json;
    json["seed"] = plan.seed;
    json["width"] = sensor.width;
    json["height"] = sensor.height;
    json["pattern"] = pattern_text(sensor);
    json["bits"] = sensor.bits;
    json["scale_bits"] = kLibraryBits;
    for (std::size_t c = 0; c < kChannelKeys.size(); ++c) {
        json["pedestal_codes"][kChannelKeys[c]] = sensor.pedestal[c];
        json["falloff_k2"][kChannelKeys[c]] = sensor.falloff_k2[c];
    }
    json["falloff_k4"] = sensor.falloff_k4;
    json["axis_x"] = (sensor.width - 1) / 2.0 + sensor.axis_x;
    json["axis_y"] = (sensor.height - 1) / 2.0 + sensor.axis_y;
    json["bend"] = sensor.bend;
    json["read_noise_codes"] = sensor.read_noise;
    json["conversion_gain_codes_per_electron"] = sensor.conversion_gain;
    json["pedestal_codes_per_gain"] = kPedestalPerGain;
    json["gains"] = Json::array();
    for (const double gain : plan.gains) {
        const SensorModel there = plan.sensor.at(gain);
        Json entry;
        entry["analogue_gain"] = gain;
        for (std::size_t c = 0; c < kChannelKeys.size(); ++c) {
            entry["pedestal_codes"][kChannelKeys[c]] = there.pedestal[c];
        }
        entry["codes_per_electron"] = there.conversion_gain;
        entry["read_variance_codes2"] = there.read_noise * there.read_noise;
        json["gains"].push_back(std::move(entry));
    }
    json["camera_of_xyz"] = sensor.camera_of_xyz;
    if (plan.chart_view) {
        json["chart_corners"] = outline_of(sensor, *plan.chart_view).corners;
    }
    json["faults"] = Json::array();
    for (const Fault& fault : plan.faults) {
        Json entry;
        entry["name"] = fault_name(fault.kind);
        entry["amount"] = fault.amount;
        json["faults"].push_back(std::move(entry));
    }
    json["illuminants"] = Json::array();
    for (const double kelvin : plan.illuminants) {
        const Vector3 white = camera_white(sensor, kelvin);
        Json light;
        light["illuminant_k"] = kelvin;
        light["white_xyz"] = illuminant_white(kelvin);
        light["camera_white"] = white;
        light["gain"]["red"] = white[1] / white[0];
        light["gain"]["green"] = 1.0;
        light["gain"]["blue"] = white[1] / white[2];
        light["chart_camera"] = chart_scene(sensor, kelvin, kSimulatedChartLevel).colours;
        json["illuminants"].push_back(std::move(light));
    }
    return json.dump() + "\n";
}

}  // namespace cali::host
