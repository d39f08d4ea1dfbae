// Every metrics record the daemon emits: its name here, schema id, record version and payload format.
//
// The last payload value is always the record version, which EMIT_RECORD adds. What the values mean and
// when each record is emitted: docs/metrics.md.
#pragma once

// clang-format off
#define VORN_RECORDS(X) \
    X(stress_trip_refused, "w8pq/2/03330401", "12", "ver=%s;SY") \
    X(stress_entry_rejected, "rsw5/2/03330401", "12", "v=%d;IN,t=%d;IN,val=%f;FL,ver=%s;SY") \
    X(stress_offline_hours, "elij/2/03330401", "12", "time=%f;FL,init=%d;IN,retry=%d;IN,batt_volt=%d;IN,batt_temp=%d;IN,ver=%s;SY") \
    X(stress_start, "8ynv/2/03330401", "12", "table_valid=%d;IN,stress_hours=%d;IN,stress_trip=%d;IN,set_prop=%d;IN,ver=%s;SY") \
    X(stress_table_written, "spvt/2/03330401", "12", "flush_status=%d;IN,ver=%s;SY") \
    X(stress_evaluated, "n591/2/03330401", "12", "stress_hours=%d;IN,stress_trip=%d;IN,set_prop=%d;IN,ver=%s;SY") \
    X(precharge_trackers_updated, "uypy/2/04330401", "10", "counter=%d;IN,timer_s=%d;IN,ver=%s;SY") \
    X(precharge_flag_raised, "qc56/2/04330401", "10", "flag=%d;IN,ver=%s;SY") \
    X(precharge_event, "3t31/2/04330401", "10", "fault_trip=%d;IN,precharge_timer_s=%d;IN,last_batt_volt_mv=%d;IN,discharge_volt_mv=%d;IN,discharge_rate_uv=%.1f;FL,ver=%s;SY") \
    X(charge_period_ended, "4h8v/2/04330401", "10", "charge_timer_s=%lu;IN,threshold_s=%lu;IN,discharge_timer_s=%lu;IN,min_curr_ua=%ld;IN,final_soc=%d;IN,ver=%s;SY") \
    X(charge_timer_expired, "eb86/2/04330401", "10", "charge_timer_s=%lu;IN,threshold_s=%lu;IN,min_curr_ua=%ld;IN,final_soc=%d;IN,ver=%s;SY") \
    X(pulldown_daily, "acnd/2/03330401", "10", "pulldown_timer_s=%lu;IN,pulldown_flag=%d;IN,ver=%s;SY") \
    X(pulldown_watch_ended, "qoli/2/04330401", "10", "pulldown_timer_s=%lu;IN,discharge_timer_s=%lu;IN,chg_sts=%d;IN,batt_volt_mv=%d;IN,ver=%s;SY") \
    X(pulldown_applied, "c4zx/2/04330401", "10", "pulldown_timer_s=%lu;IN,chg_sts=%d;IN,batt_volt_mv=%d;IN,ver=%s;SY") \
    X(short_fault_detected, "z6ds/2/04330401", "10", "v_mv=%d;IN,v_max_mv=%d;IN,v_dip_th_mv=%u;IN,sec_since_max=%lu;IN,curr_ma=%d;IN,ver=%s;SY") \
    X(short_active_ended, "6oc8/2/04330401", "10", "v_accum_min=%d;IN,v_dip_th=%u;IN,ver=%s;SY") \
    X(short_fault_cleared, "xd6o/2/04330401", "10", "v_mv=%d;IN,v_max_mv=%d;IN,curr_ma=%d;IN,ver=%s;SY") \
    X(topoff_set, "qgy7/2/04330401", "10", "v_mv=%d;IN,ver=%s;SY") \
    X(topoff_cleared, "9e3y/2/04330401", "10", "v_mv=%d;IN,v_reset_mv=%d;IN,dur_s=%lu;IN,ver=%s;SY") \
    X(soc_landed, "2jh7/2/03330400", "11", "soc_scal=%d;IN,soc_land=%d;IN,soc_ext=%d;IN,v_mv=%d;IN,i_avg_ma=%d;IN,i_targ_ma=%d;IN,soc_off=%d;IN,ver=%s;SY") \
    X(soc_parameters, "zy5i/2/03330400", "11", "soc_v=%d;IN,soc_c=%d;IN,soc_raw=%d;IN,soc_scal=%d;IN,soc_ext=%d;IN,soc_act=%d;IN,soc_smooth=%d;IN,soc_past=%d;IN,soc_ui=%d;IN,chg_sts=%d;IN,chg_sts_sec=%lu;IN,dcr=%d;IN,qmax=%d;IN,vend=%s;SY,err_flags=%d;IN,num_aborts=%d;IN,ver=%s;SY") \
    X(thermal_released, "gp5u/2/04330401", "11", "disable_timer_s=%lu;IN,batt_temp_c=%d;IN,batt_volt_mv=%d;IN,ver=%s;SY") \
    X(thermal_event, "skv9/2/04330401", "11", "charge_timer_s=%lu;IN,tsum_prev_c=%d;IN,temp_rise_c=%d;IN,t0=%d;IN,t1=%d;IN,t2=%d;IN,t3=%d;IN,t4=%d;IN,t5=%d;IN,batt_volt_mv=%d;IN,batt_curr_a=%ld;IN,ver=%s;SY") \
    X(thermal_charge_ended, "qw6h/2/04330401", "11", "temp_rise_max_c=%d;IN,curr_max_ma=%d;IN,ver=%s;SY")
// clang-format on

namespace record {

#define VORN_DECLARE_RECORD(name, id, version, format) \
    inline constexpr char name##_id[] = id;            \
    inline constexpr char name##_version[] = version;  \
    inline constexpr char name##_format[] = format;
VORN_RECORDS(VORN_DECLARE_RECORD)
#undef VORN_DECLARE_RECORD

}  // namespace record
