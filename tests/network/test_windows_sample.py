"""The packaged component as users run it: registered with regsvr32, used by the C++ sample, unregistered. And kelsim as a
Windows program with a single controller, because under Wine a process cannot be several hosts."""

import pathlib

import harness

CONTROLLERS = 10
NOT_REGISTERED = 1


class Sample(harness.OneNetwork):
    def regsvr32(self, *options):
        (module,) = harness.command("KELLANSEEK_WINDOWS_MODULE")
        self.assertTrue(pathlib.Path(module).is_file(), module)
        program = [*harness.command("KELLANSEEK_WINDOWS_RUN"), "regsvr32", "/s", *options,
                   "Z:" + module.replace("/", "\\")]
        self.assertEqual(0, self.run_program(self.here, program).wait())

    def sample(self):
        return self.run_program(self.here, harness.command("KELLANSEEK_WINDOWS_SAMPLE"), kind=harness.Said)

    def test_sample_lists_a_plant_while_the_component_is_registered(self):
        plant = self.host("plant", {self.net: "10.1.0.2/24"})
        self.run_program(plant, [*harness.command("KELLANSEEK_KELSIM"), "--count", str(CONTROLLERS), "--no-announce"])
        without = self.sample()
        self.assertEqual((NOT_REGISTERED, ""), without.result())
        self.assertIn("it is not registered (0x80040154)", without.errors())
        for _ in range(2):
            self.regsvr32()
        sample = self.sample()
        self.wait_until(lambda: sample.output.count(b"event ") >= CONTROLLERS, lambda: f"events in {sample.output}")
        sample.process.stdin.write(b"\n")
        sample.process.stdin.flush()
        code, text = sample.result()
        self.assertEqual(0, code)
        self.assertIn("Listening; a line ends it.\n", text)
        listed = [line for line in text.splitlines() if line[:1].isdigit()]
        self.assertEqual(CONTROLLERS, len(listed), text)
        self.assertEqual([str(number) for number in range(11, 11 + CONTROLLERS)], [line.split()[0] for line in listed])
        for _ in range(2):
            self.regsvr32("/u")
        self.assertEqual(NOT_REGISTERED, self.sample().result()[0])

    def test_windows_kelsim_simulates_a_controller_at_its_host_address(self):
        watch = self.watch(self.here, ready_on=[self.net])
        plant = self.host("plant", {self.net: "10.1.0.2/24"})
        kelsim = self.run_program(plant, [*harness.command("KELLANSEEK_WINDOWS_KELSIM"), "--own-address", "--first", "7"])
        found = watch.expect("new", address="10.1.0.2")
        self.assertEqual("Cell7", found["name"])
        kelsim.stop()


if __name__ == "__main__":
    harness.main()
