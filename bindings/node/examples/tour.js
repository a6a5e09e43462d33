// A machine's whole life: lists, creates, changes, starts, watches, stops and deletes. Says what it does, one line a step.
'use strict';

const { Library, LockType, MachineState } = require('..');

async function tour(library, say) {
  say('1 machines:', (await library.machines()).length);

  const name = await library.freeName('Tour');
  const machine = await library.createMachine('', name);
  await machine.setMemory(512);
  await machine.saveSettings();
  await machine.addToList();
  say('2 created', await machine.name());

  const found = await library.findMachine(name);
  say('3 found', await found.uuid() === await machine.uuid());

  await machine.withLock(LockType.Write, async (mutable) => {
    await mutable.setMemory(1024);
    await mutable.setCpuCount(2);
    await mutable.saveSettings();
  });
  say('4 changed');

  await machine.setExtraData('tour', '磁盘 🎮');
  say('5 extra data', await machine.extraData('tour'));

  await library.findMachine('nobody has this name').catch((error) => {
    say('6 failed:', error.codeName, error.resultName);
  });

  await (await machine.launch('headless', ['TOUR=1'])).finish();
  say('7 runs:', await machine.state() === MachineState.Running);

  const console = await library.console();
  const notices = console.watch();
  const first = notices.next(); // begins the watch
  await new Promise((resolve) => setTimeout(resolve, 200));
  const stopping = await console.powerDown();
  const seen = [(await first).value];
  for await (const notice of notices)
    seen.push(notice);
  await stopping.finish();
  say('8 stopping seen:', seen.some((notice) => notice.state === MachineState.Stopping));
  say('9 ended:', seen.at(-1).kind === 'ended');

  await machine.withLock(LockType.Write, async () => {}); // waits until the machine is free
  await machine.deleteWithFiles();
  say('10 deleted');
}

(async () => {
  const library = await Library.open({ logPath: 'tour.log', limit: 60000 });
  try {
    await tour(library, console.log);
  } catch (error) {
    console.log('failed:', error.message);
    process.exitCode = 1;
  } finally {
    await library.close();
  }
})();
