# SPDX-License-Identifier: Apache-2.0
"""What rings at a due time and after a step of the clock."""

from rows import Row

ALARM = "service/run/alarm.cpp"
SCHEDULER = "service/run/scheduler.cpp"
ACTIVE = "service/active.cpp"
TEST = "service_alarm_test"
REAL = "real_service_test"
RINGS = (TEST, "AlarmTest.rings_when_its_moment_has_come_and_when_it_was_set_anew_then")
STEPS = (TEST, "AlarmTest.tells_by_how_much_the_clock_was_set_and_which_way")
AWAKE = (TEST, "Awake.the_scheduler_takes_one_due_time_after_the_other")
BACK = (TEST, "Awake.a_clock_that_is_set_back_a_little_lets_periodic_schedules_go_on")
WRONG = (TEST, "Awake.a_clock_that_had_been_wrong_computes_the_due_times_anew")
ROWS = [
    Row("the timer is not set", ALARM, "timerfd_settime(timer_.get(), flags, &when, nullptr) != 0 && errno == ECANCELED", "false",
        REAL, "RealService.runs_what_becomes_due_without_a_further_request"),
    Row("the timer is not on the wall clock", ALARM, "timerfd_create(CLOCK_REALTIME,", "timerfd_create(CLOCK_MONOTONIC,",
        REAL, "RealService.runs_what_becomes_due_without_a_further_request"),
    Row("the moment is taken for a span", ALARM, "TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET", "TFD_TIMER_CANCEL_ON_SET", *RINGS),
    Row("the timer does not hear of a step", ALARM, "TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET", "TFD_TIMER_ABSTIME", *STEPS),
    Row("without a due time the timer is not set", ALARM, "moment == 0 ? far_away : moment", "moment",
        TEST, "Awake.a_clock_that_is_set_while_nothing_is_due_is_heard_of_too"),
    Row("the timer is a minute late", ALARM, "far_away : moment;", "far_away : moment + 60;", *AWAKE),
    Row("nobody reads the timer", ALARM, "  watch_ = host::Watch::readable(timer_.get(), [this] { on_readable(); });\n", "", *RINGS),
    Row("a cancelled timer is passed over", ALARM, "  if (got < 0 && errno != ECANCELED) return;", "  if (got < 0) return;", *STEPS),
    Row("a step just before the setting is passed over", ALARM, "    set_meanwhile_ = host::Watch::after_ms(0, [this] { ring(); });",
        "    ;", TEST, "AlarmTest.rings_for_a_step_just_before_it_was_set"),
    Row("the alarm is not armed anew after a ring", ALARM, "  set_for_ = -1;  // the timer has expired", "  // the timer has expired",
        TEST, "AlarmTest.rings_again_for_the_moment_of_its_last_ring",
        ((TEST, "AlarmTest.rings_after_a_step_for_the_moment_that_it_was_set_for_before"),)),
    Row("a moment that is waited for is set again", ALARM, "!timer_ || moment == set_for_", "!timer_",
        TEST, "AlarmTest.set_for_the_moment_that_it_waits_for_already_is_left_alone"),
    Row("the sign of the step", ALARM, "offset_ms_ - before", "before - offset_ms_", *STEPS),
    Row("the step in milliseconds", ALARM, "(offset_ms_ - before) / 1000", "(offset_ms_ - before)", *STEPS),
    Row("the offset of the last ring is not kept", ALARM, "std::exchange(offset_ms_, wall_clock_offset_ms())",
        "std::exchange(offset_ms_, offset_ms_)", *STEPS),
    Row("the first step is measured from nothing", ALARM, "  offset_ms_ = wall_clock_offset_ms();\n", "", *STEPS),
    Row("the offset is from no clock at all", "service/clock.cpp", " - read_ms(CLOCK_BOOTTIME)", "", *RINGS),
    Row("the scheduler waits for no further due time", SCHEDULER, "    runner_.start_waiting();\n    set_alarm();",
        "    runner_.start_waiting();", *AWAKE),
    Row("the scheduler does not wait for the due time", SCHEDULER, "  alarm_.set(due);\n", "", *AWAKE),
    Row("a ring is no look for due times", SCHEDULER, "step == 0 ? check() : clock_set(step);", "if (step != 0) clock_set(step);",
        *AWAKE),
    Row("a step is taken for a ring", SCHEDULER, "step == 0 ? check() : clock_set(step);", "check();", *BACK),
    Row("after a step nothing is looked for", SCHEDULER, "  meet_step(judge_step(step), step);\n  check();",
        "  meet_step(judge_step(step), step);", TEST, "Awake.a_clock_that_is_set_forward_is_noticed_at_once"),
    Row("a small step back is not met", SCHEDULER, "if (kind == ClockStep::small_back)", "if (false)", *BACK),
    Row("a clock that had been wrong is not met", SCHEDULER, "if (kind == ClockStep::had_been_wrong)", "if (false)", *WRONG),
    Row("the kinds of step are exchanged", "service/calendar/clock_step.cpp",
        "ClockStep::had_been_wrong : ClockStep::small_back", "ClockStep::small_back : ClockStep::had_been_wrong",
        "service_calendar_test", "ClockStep.three_hours_back_say_that_the_clock_had_been_wrong"),
    Row("no look at the start", SCHEDULER, "  if (opened) check();\n", "",
        TEST, "Awake.a_due_time_that_has_come_before_the_start_is_taken_by_it"),
    Row("the scheduler is not started", ACTIVE,
        "  if (const auto started = scheduler_.start(); !started) return started.error();\n", "",
        REAL, "RealService.runs_what_becomes_due_after_its_start_without_a_request"),
    Row("the service is not started", "service/service.cpp",
        "    if (const host::Result<void> started = active_->start(); !started) return Failure{failed, started.error().text};\n  run_until",
        "    ;\n  run_until", REAL, "RealService.runs_what_becomes_due_after_its_start_without_a_request"),
    Row("a take-over starts nothing", "service/service.cpp",
        "    if (const host::Result<void> started = active_->start(); !started) failure_ =", "    if (const host::Result<void> started; !started) failure_ =",
        "standby_test", "Standby.what_was_due_just_before_the_take_over_runs_once"),
    Row("no look for due times after a configuration", ACTIVE,
        "  if (incoming.service != SCH_SERVICE_SHOW) scheduler_.check_soon();", "",
        REAL, "RealService.runs_what_becomes_due_without_a_further_request"),
    Row("no look for due times soon", SCHEDULER, "  if (!soon_.active()) check_after_ms(0);", "",
        TEST, "Awake.a_due_time_before_the_one_that_it_waits_for_is_not_slept_through"),
    Row("the service ends and leaves its runs", "service/service.cpp", "  if (active_) active_->stop();\n", "",
        REAL, "RealService.asks_the_job_under_way_to_end_when_it_ends_itself_and_records_that"),
    Row("interrupted runs are not recovered", ACTIVE, "  scheduler_.recover();\n", "",
        REAL, "RealService.tells_after_it_was_killed_which_run_was_interrupted_and_by_then_its_job_is_gone"),
    Row("the zone's changes are not watched", ACTIVE, "  zone_watch_.start([this] { scheduler_.zone_changed(); });\n", "",
        "zone_test", "ZoneEndToEnd.a_zone_file_that_is_replaced_is_followed_while_the_service_runs"),
]  # fmt: skip
